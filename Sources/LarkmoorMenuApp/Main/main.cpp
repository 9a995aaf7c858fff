// The menu-bar application. It has no command line of its own and no window but alerts.
#include "LarkmoorMenuApp/Main/Application.h"

int main() { return larkmoor::Application{}.run(); }

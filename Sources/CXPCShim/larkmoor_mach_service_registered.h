/* Is a service's name known to the machine? */
#pragma once

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Whether somebody owns the name on the session bus. Opens a connection of its own and blocks for up to one second; a
   bus that is not there or does not answer in that time gives false, and so does a name that can be nobody's. Any
   thread, several at once. */
bool larkmoor_mach_service_registered(const char* name);

#ifdef __cplusplus
}
#endif

// Boost.JSON's own code, built into this program: Debian's library of it would be one more to load for a parser alone.
#include <boost/json/src.hpp>

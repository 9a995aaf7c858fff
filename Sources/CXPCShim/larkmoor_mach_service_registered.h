/* Whether a service name is registered. */
#pragma once

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Whether the name has an owner on the session bus. Opens a connection of its own and blocks for at most one second;
   false if there is no bus, if it does not reply in time, or if the name is invalid. Any thread, concurrently. */
bool larkmoor_mach_service_registered(const char* name);

#ifdef __cplusplus
}
#endif

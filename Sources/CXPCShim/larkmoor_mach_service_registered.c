#include "CXPCShim/larkmoor_mach_service_registered.h"

#include <stdint.h>
#include <systemd/sd-bus.h>
#include <time.h>

static const uint64_t limit_microseconds = 1000000;

struct answer {
    bool has_come;
    bool is_registered;
};

static uint64_t now_microseconds(void) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (uint64_t)now.tv_sec * 1000000 + (uint64_t)now.tv_nsec / 1000;
}

static int take_answer(sd_bus_message* reply, void* userdata, sd_bus_error* error) {
    struct answer* answer = userdata;
    int has_owner = 0;
    (void)error;
    answer->has_come = true;
    answer->is_registered =
        !sd_bus_message_is_method_error(reply, NULL) && sd_bus_message_read(reply, "b", &has_owner) > 0 && has_owner;
    return 1;
}

/* sd-bus's blocking call has no limit for connecting: its time-out starts when the connection is ready. */
static bool ask(sd_bus* bus, const char* name) {
    const uint64_t deadline = now_microseconds() + limit_microseconds;
    struct answer answer = {false, false};
    if (sd_bus_call_method_async(bus, NULL, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                 "NameHasOwner", take_answer, &answer, "s", name) < 0)
        return false;
    while (!answer.has_come) {
        const uint64_t now = now_microseconds();
        int step;
        if (now >= deadline) return false;
        step = sd_bus_process(bus, NULL);
        if (step == 0) step = sd_bus_wait(bus, deadline - now);
        if (step < 0) return false;
    }
    return answer.is_registered;
}

bool larkmoor_mach_service_registered(const char* name) {
    sd_bus* bus = NULL;
    bool is_registered = false;
    if (!sd_bus_service_name_is_valid(name)) return false;
    if (sd_bus_open_user(&bus) >= 0) is_registered = ask(bus, name);
    sd_bus_close_unref(bus);
    return is_registered;
}

#include "LarkmoorBase/ThreadWithoutSignals.h"

#include <pthread.h>

#include <csignal>
#include <utility>

namespace larkmoor {

std::thread threadWithoutSignals(std::function<void()> body) {
    struct Blocked {
        sigset_t before{};
        Blocked() {
            sigset_t all;
            sigfillset(&all);
            pthread_sigmask(SIG_SETMASK, &all, &before);
        }
        ~Blocked() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
        Blocked(const Blocked&) = delete;
        Blocked& operator=(const Blocked&) = delete;
    } const blocked;
    return std::thread{std::move(body)};
}

}  // namespace larkmoor

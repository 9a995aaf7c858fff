// What a loose agent needs: one whose list lies in the person's own folder, as a developer's install leaves it.
#pragma once

namespace larkmoor::AgentRegistration {

enum class Action { bootstrap, kickstart, doNothing };

constexpr Action action(bool plistExists, bool registered) {
    if (!plistExists) return Action::doNothing;
    return registered ? Action::kickstart : Action::bootstrap;
}

}  // namespace larkmoor::AgentRegistration

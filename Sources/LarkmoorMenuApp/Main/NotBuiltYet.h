// Placeholder for a duty of the menu that is not built yet: does nothing and returns a default-constructed value. The
// only place for such duties is the composition root, so that a search for `notBuiltYet` lists what is missing; only
// the clicks on update rows answer with a sentence instead (UpdateDuties.cpp).
#pragma once

#include <functional>

#include "LarkmoorBase/Task.h"

namespace larkmoor {

class NotBuiltYet {
    template <class Answer>
    struct Nothing {
        static Answer answer() { return Answer(); }
    };
    template <class Answer>
    struct Nothing<Task<Answer>> {
        static Task<Answer> answer() { co_return Answer(); }
    };

  public:
    template <class Answer>
    operator std::function<Answer()>() const {
        return &Nothing<Answer>::answer;
    }
};

inline constexpr NotBuiltYet notBuiltYet;

}  // namespace larkmoor

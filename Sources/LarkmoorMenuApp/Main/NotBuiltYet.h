// Stands for a duty of the menu that is not built yet: it does nothing, and answers with nothing, false or "". The only
// place for such duties is the composition root, so that a search for `notBuiltYet` lists what is missing.
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

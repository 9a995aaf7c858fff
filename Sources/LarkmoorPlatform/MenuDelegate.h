// Whoever keeps a menu true: told when it opens and closes, and asked whether a row may be clicked. Main thread.
#pragma once

namespace larkmoor {

class MenuRow;

class MenuDelegate {
  public:
    virtual ~MenuDelegate() = default;

    /// Before the person sees the rows: what is changed here is in the first picture.
    virtual void menuWillOpen() = 0;
    virtual void menuDidClose() = 0;

    /// Asked for enabled rows with an action, before they are shown and again before a click runs; answers from memory.
    virtual bool validateMenuItem(const MenuRow& row) = 0;
};

}  // namespace larkmoor

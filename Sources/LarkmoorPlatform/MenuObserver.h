// Whoever draws a menu: told of each row that changed. Main thread, from inside the setter.
#pragma once

namespace larkmoor {

class MenuRow;

class MenuObserver {
  public:
    virtual ~MenuObserver() = default;

    virtual void rowChanged(const MenuRow& row) = 0;
};

}  // namespace larkmoor

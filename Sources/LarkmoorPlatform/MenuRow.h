// One row of a menu, as a model: what it shows and what a click does. Main thread only.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "LarkmoorPlatform/RowImage.h"
#include "LarkmoorPlatform/RowProgress.h"

namespace larkmoor {

class Menu;

/// Every setter compares first: a value that is already there is no change, and nobody is told. Whoever keeps the row
/// and the one menu that it stands in share it; a row need not stand in any.
class MenuRow {
  public:
    /// Runs on the main thread, after the click was answered and the menu closed.
    using Action = std::function<void()>;

    /// What a row begins with; `MenuRow::make({.title = "Quit", .action = quit, .tag = 1})`.
    struct Start {
        std::string title{};
        Action action{};
        RowImage image{};
        int indent = 0;  ///< levels
        int tag = 0;
        bool hidden = false;
        bool enabled = true;
    };

    static std::shared_ptr<MenuRow> make(Start start);
    static std::shared_ptr<MenuRow> separator();

    MenuRow(const MenuRow&) = delete;
    MenuRow& operator=(const MenuRow&) = delete;

    bool isSeparator() const { return isSeparator_; }
    const std::string& title() const { return shown_.title; }
    const RowImage& image() const { return shown_.image; }
    const RowProgress& progress() const { return progress_; }
    int indent() const { return shown_.indent; }
    int tag() const { return shown_.tag; }
    bool hidden() const { return shown_.hidden; }
    bool enabled() const { return shown_.enabled; }
    bool hasAction() const { return static_cast<bool>(shown_.action); }
    const Action& action() const { return shown_.action; }

    void setTitle(std::string title);
    void setImage(RowImage image);
    void setProgress(RowProgress progress);
    void setHidden(bool hidden);
    void setEnabled(bool enabled);
    /// Functions cannot be compared: the menu is told only when a row gains or loses its action.
    void setAction(Action action);

  private:
    friend class Menu;

    MenuRow(Start start, bool isSeparator);
    template <class T>
    void set(T& field, T value);
    void tell();

    Start shown_;
    RowProgress progress_;
    bool isSeparator_;
    Menu* menu_ = nullptr;
};

}  // namespace larkmoor

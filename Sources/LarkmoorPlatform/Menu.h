// A menu as a model: a fixed list of rows; a delegate updates them, the platform shows them. Main thread only.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace larkmoor {

// The image in front of a row's title.

namespace RowImages {

struct None {
    bool operator==(const None&) const = default;
};

/// A filled dot in the system's red.
struct RecordingDot {
    bool operator==(const RecordingDot&) const = default;
};

/// A ring in the system's red.
struct PausedRing {
    bool operator==(const PausedRing&) const = default;
};

/// The product's own icon, in its colours.
struct PebbleIcon {
    bool operator==(const PebbleIcon&) const = default;
};

/// A system symbol, drawn half transparent in the colour of the menu's text: "chart.bar.xaxis", "gearshape.fill",
/// "arrow.down.circle". A platform that has no image of this name shows none.
struct Symbol {
    std::string name;
    bool operator==(const Symbol&) const = default;
};

}  // namespace RowImages

using RowImage = std::variant<RowImages::None, RowImages::RecordingDot, RowImages::PausedRing, RowImages::PebbleIcon,
                              RowImages::Symbol>;

// The progress bar beside a row's title.

namespace RowProgresses {

struct None {
    bool operator==(const None&) const = default;
};

/// How much is left is not known. Moves while the menu is open.
struct Indeterminate {
    bool operator==(const Indeterminate&) const = default;
};

struct Fill {
    double value = 0;  ///< 0 to 1; a value outside is shown as the nearer end
    bool operator==(const Fill&) const = default;
};

}  // namespace RowProgresses

using RowProgress = std::variant<RowProgresses::None, RowProgresses::Indeterminate, RowProgresses::Fill>;

class Menu;

/// One row: what it shows and what a click does. Every setter compares first: an equal value is not a change, and the
/// observer is not called. The row is shared by its creator and by the one menu that contains it, if any.
class MenuRow {
  public:
    /// Runs on the main thread, after the click was answered and the menu closed.
    using Action = std::function<void()>;

    /// Initial values; `MenuRow::make({.title = "Quit", .action = quit, .tag = 1})`.
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
    /// Functions cannot be compared: the observer is called only when a row gains or loses its action.
    void setAction(Action action);

  private:
    friend class Menu;

    MenuRow(Start start, bool isSeparator);
    template <class T>
    void set(T& field, T value);
    void notify();

    Start shown_;
    RowProgress progress_;
    bool isSeparator_;
    Menu* menu_ = nullptr;
};

/// Updates a menu's rows.
class MenuDelegate {
  public:
    virtual ~MenuDelegate() = default;

    /// Called before the rows are shown: changes made here are visible as soon as the menu appears.
    virtual void menuWillOpen() = 0;
    virtual void menuDidClose() = 0;

    /// Whether the row may be clicked. Asked for enabled rows with an action, before they are shown and again before a
    /// click runs; must return at once, without I/O.
    virtual bool validateMenuItem(const MenuRow& row) = 0;
};

/// Draws a menu.
class MenuObserver {
  public:
    virtual ~MenuObserver() = default;

    /// Called from inside the setter of the row.
    virtual void rowChanged(const MenuRow& row) = 0;
};

/// Rows come and go by their `hidden` flag; the list itself never changes.
class Menu {
  public:
    using Rows = std::vector<std::shared_ptr<MenuRow>>;

    /// Shares the rows with their creator. A row is in one menu at most, and only once.
    explicit Menu(Rows rows);
    ~Menu();
    Menu(const Menu&) = delete;
    Menu& operator=(const Menu&) = delete;

    const Rows& rows() const { return rows_; }

    /// Not owned: the delegate must outlive the menu, or set null before it is destroyed.
    void setDelegate(MenuDelegate* delegate) { delegate_ = delegate; }

    // What the platform calls.

    /// Not owned; one at most, null for none.
    void setObserver(MenuObserver* observer) { observer_ = observer; }

    bool isOpen() const { return isOpen_; }
    /// Calls the delegate, unless the menu counts as open (or closed) already.
    void open();
    void close();

    /// Whether a click on the row would do something: it is enabled, has an action, and the delegate agrees.
    bool isClickable(const MenuRow& row) const;

    /// Closes the menu, then runs the row's action. False, and no action, for a row that is hidden or not clickable.
    bool click(const MenuRow& row);

  private:
    friend class MenuRow;
    void rowChanged(const MenuRow& row);

    Rows rows_;
    MenuDelegate* delegate_ = nullptr;
    MenuObserver* observer_ = nullptr;
    bool isOpen_ = false;
};

}  // namespace larkmoor

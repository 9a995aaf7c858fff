// A status item with the product's rows and none of its duties, for trials on a real panel. It says on standard output
// what happens to it, and takes orders on standard input, one a line:
//   icon filled|hollow|attention LABEL    title ROW TEXT    hide ROW    show ROW
//   progress ROW none|moving|FRACTION     image ROW none|dot|ring         quit
// ROW is the row's place, 0 for the first.
//
// usage: tray-trial ICON-THEME-FOLDER
#include <unistd.h>

#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/streambuf.hpp>

#include <cstdio>
#include <istream>
#include <sstream>

#include "LarkmoorPlatform/Linux/Tray/StatusNotifierItem.h"
#include "LarkmoorPlatform/MenuDelegate.h"

namespace larkmoor {
namespace {

void say(const std::string& words) {
    std::puts(words.c_str());
    std::fflush(stdout);
}

class Trial : private MenuDelegate {
  public:
    Trial(MainLoop& loop, std::string icons)
        : loop_(loop),
          bus_(loop),
          item_(loop, bus_, {.title = "Larkmoor", .iconThemePath = std::move(icons)}),
          orders_(loop, ::dup(STDIN_FILENO)) {
        menu_->setDelegate(this);
        item_.setIcon(StatusIcon::trailFilled, "Larkmoor");
        item_.setMenu(menu_);
        bus_.onLost([this](const BusError&) { loop_.stop(); });
        listen();
    }
    ~Trial() override { menu_->setDelegate(nullptr); }

  private:
    static std::shared_ptr<MenuRow> row(const std::string& title, RowImage image = {}, int indent = 0) {
        return MenuRow::make({.title = title,
                              .action = [title] { say("clicked " + title); },
                              .image = std::move(image),
                              .indent = indent});
    }
    static std::shared_ptr<MenuRow> words(const std::string& title, RowImage image = {}) {
        return MenuRow::make({.title = title, .image = std::move(image), .enabled = false});
    }

    void menuWillOpen() override { say("opened"); }
    void menuDidClose() override { say("closed"); }
    bool validateMenuItem(const MenuRow& /*row*/) override { return true; }

    void listen() {
        boost::asio::async_read_until(orders_, input_, '\n', [this](boost::system::error_code failed, std::size_t) {
            if (failed) return;
            std::string line;
            std::getline(std::istream{&input_}, line);
            obey(line);
            listen();
        });
    }

    void obey(const std::string& line) {
        std::istringstream words{line};
        std::string order, first, rest;
        words >> order >> first;
        std::getline(words >> std::ws, rest);
        if (order == "quit") return loop_.stop();
        if (order == "icon") {
            item_.setIcon(first == "attention" ? StatusIcon::attention
                          : first == "hollow"  ? StatusIcon::trailHollow
                                               : StatusIcon::trailFilled,
                          rest);
            return;
        }
        const std::size_t place = static_cast<std::size_t>(std::atoi(first.c_str()));
        if (place >= menu_->rows().size()) return say("no row " + first);
        MenuRow& row = *menu_->rows()[place];
        if (order == "title") row.setTitle(rest);
        if (order == "hide") row.setHidden(true);
        if (order == "show") row.setHidden(false);
        if (order == "image") {
            if (rest == "dot") row.setImage(RowImages::RecordingDot{});
            if (rest == "ring") row.setImage(RowImages::PausedRing{});
            if (rest == "none") row.setImage(RowImages::None{});
        }
        if (order == "progress") {
            if (rest == "moving") {
                row.setProgress(RowProgresses::Indeterminate{});
            } else if (rest == "none") {
                row.setProgress(RowProgresses::None{});
            } else {
                row.setProgress(RowProgresses::Fraction{std::atof(rest.c_str())});
            }
        }
    }

    static std::shared_ptr<MenuRow> hidden(std::shared_ptr<MenuRow> row) {
        row->setHidden(true);
        return row;
    }

    MainLoop& loop_;
    SessionBus bus_;
    StatusNotifierItem item_;
    boost::asio::posix::stream_descriptor orders_;
    boost::asio::streambuf input_;
    std::shared_ptr<Menu> menu_ = std::make_shared<Menu>(Menu::Rows{
        words("Larkmoor (v0.1.0 · build 1)"),                              // 0
        MenuRow::separator(),                                              // 1
        hidden(row("Finish setting up Larkmoor…")),                        // 2
        words("Recording", RowImages::RecordingDot{}),                     // 3
        hidden(words("Setting up local models")),                          // 4
        row("• Pause 15 minutes", {}, 1),                                  // 5
        row("• Pause 1 hour", {}, 1),                                      // 6
        row("• Stop", {}, 1),                                              // 7
        hidden(row("Resume Recording", RowImages::PausedRing{})),          // 8
        MenuRow::separator(),                                              // 9
        row("Stats", RowImages::Symbol{"chart.bar.xaxis"}),                // 10
        MenuRow::separator(),                                              // 11
        row("Settings", RowImages::Symbol{"gearshape.fill"}),              // 12
        MenuRow::separator(),                                              // 13
        hidden(row("Migrate now")),                                        // 14
        hidden(words("Update postponed")),                                 // 15
        hidden(row("Downloading 9.9.9")),                                  // 16
        row("Check for Update…", RowImages::Symbol{"arrow.down.circle"}),  // 17
        MenuRow::separator(),                                              // 18
        row("Quit"),                                                       // 19
    });
};

}  // namespace
}  // namespace larkmoor

int main(int count, char** arguments) {
    if (count != 2) {
        std::fputs("usage: tray-trial ICON-THEME-FOLDER\n", stderr);
        return 2;
    }
    larkmoor::MainLoop loop;
    const larkmoor::Trial trial{loop, arguments[1]};
    loop.run();
    return 0;
}

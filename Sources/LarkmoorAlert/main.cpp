// larkmoor-alert: shows one alert, prints that it is shown and then which button was chosen. AlertProtocol.h is its
// only interface.
#include <QApplication>
#include <QFile>
#include <QIcon>

#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "LarkmoorAlert/AlertWindow.h"
#include "LarkmoorPlatform/AlertProtocol.h"

namespace larkmoor {

namespace {

namespace protocol = AlertProtocol;

/// Skips the toolkit's slow destructors: the system frees everything.
[[noreturn]] void leave(protocol::ExitStatus status, const QString& words = {}) {
    if (!words.isEmpty()) std::fprintf(stderr, "larkmoor-alert: %s\n", qPrintable(words));
    std::_Exit(status);
}

AlertRequest readRequest() {
    QFile input;
    if (!input.open(STDIN_FILENO, QIODevice::ReadOnly)) leave(protocol::badRequest, input.errorString());
    auto request = AlertRequest::read(input.readAll());
    if (!request) leave(protocol::badRequest, QStringLiteral("no request of mine on standard input"));
    return *std::move(request);
}

/// The alert must not outlive the process that asked for it.
void endWith(qint64 asker) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != asker) leave(protocol::noAsker, QStringLiteral("whoever asked is gone"));
}

/// At once, since the asker waits for the word.
void say(std::string_view word, const std::string& rest = {}) {
    std::printf("%s%s\n", word.data(), rest.c_str());
    std::fflush(stdout);
}

/// Without a display the toolkit aborts the program with a fatal message.
void takeMessage(QtMsgType type, const QMessageLogContext& /*context*/, const QString& words) {
    if (type == QtFatalMsg) leave(protocol::noDisplay, QStringLiteral("no display: ") + words.simplified());
    std::fprintf(stderr, "larkmoor-alert: %s\n", qPrintable(words));
}

void prepareEnvironment() {
    const bool hasDisplay = qEnvironmentVariableIsSet("DISPLAY") || qEnvironmentVariableIsSet("WAYLAND_DISPLAY") ||
                            qEnvironmentVariableIsSet("QT_QPA_PLATFORM");
    if (!hasDisplay) leave(protocol::noDisplay, QStringLiteral("no display: DISPLAY and WAYLAND_DISPLAY are not set"));
    // Session management must not restore the alert at the next login.
    qunsetenv("SESSION_MANAGER");
    // X11 has another name for the same token.
    if (qEnvironmentVariableIsSet("XDG_ACTIVATION_TOKEN")) {
        qputenv("DESKTOP_STARTUP_ID", qgetenv("XDG_ACTIVATION_TOKEN"));
    }
}

}  // namespace

}  // namespace larkmoor

int main(int count, char** arguments) {
    using namespace larkmoor;
    // Run through a descriptor, it would be listed by the descriptor's number.
    ::prctl(PR_SET_NAME, "larkmoor-alert");
    const AlertRequest request = readRequest();
    if (request.build != QLatin1String{LARKMOOR_BUILD}) {
        leave(protocol::otherBuild,
              QStringLiteral("this is build " LARKMOOR_BUILD ", and build %1 asks").arg(request.build));
    }
    endWith(request.asker);
    prepareEnvironment();
    qInstallMessageHandler(takeMessage);

    const QApplication application{count, arguments};
    QApplication::setDesktopFileName(QStringLiteral("tools.fenwright.larkmoor.menubar"));
    QApplication::setWindowIcon(QIcon{QStringLiteral(":/larkmoor.png")});
    AlertWindow window{request, [] { say(protocol::shown); }};
    window.show();
    window.raise();
    window.activateWindow();
    window.exec();
    const auto choice = window.choice();
    choice ? say(protocol::chosen, std::to_string(*choice)) : say(protocol::dismissed);
    leave(protocol::answered);
}

// The peer: a bare tray program of Qt 6 with thirteen rows.
#include <QApplication>
#include <QMenu>
#include <QSystemTrayIcon>

int main(int argc, char** argv) {
    QApplication application{argc, argv};
    QApplication::setQuitOnLastWindowClosed(false);
    QMenu menu;
    for (int row = 0; row < 13; ++row) menu.addAction(QStringLiteral("Row %1").arg(row));
    QSystemTrayIcon icon{QIcon::fromTheme(QStringLiteral("dialog-information"))};
    icon.setContextMenu(&menu);
    icon.show();
    return QApplication::exec();
}

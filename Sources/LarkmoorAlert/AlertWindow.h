// The alert's window: an icon, a message, a text below it and a row of buttons, all in plain text.
#pragma once

#include <QByteArray>
#include <QDialog>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

namespace larkmoor {

/// The content of an alert, read from the helper's standard input (see AlertProtocol.h).
struct AlertRequest {
    enum class Style { informational, warning, critical };

    QString build;
    qint64 asker = 0;
    Style style = Style::informational;
    QString message;
    QString text;
    QStringList buttons;
    bool showsApplicationIcon = false;

    /// nullopt for a request that is truncated or has no button; unknown fields are ignored.
    static std::optional<AlertRequest> read(const QByteArray& request);
};

class AlertWindow : public QDialog {
  public:
    /// `onShown` is called once, when the window system has the window on the screen and it is drawn; may be null.
    explicit AlertWindow(const AlertRequest& request, std::function<void()> onShown = {});

    /// The index of the button that ended `exec`; nullopt if the window was closed without one.
    std::optional<int> choice() const { return choice_; }

  protected:
    void showEvent(QShowEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    /// What Escape does: the last button.
    void reject() override;

  private:
    QWidget* makeIcon(const AlertRequest& request);
    QWidget* makeMessage(const QString& text, int width);
    QWidget* makeText(const QString& text, int width);
    QWidget* makeButtons(const QStringList& titles);
    void choose(int index);

    const int last_;
    std::function<void()> onShown_;  ///< null once it was called
    std::optional<int> choice_;
};

}  // namespace larkmoor

// One alert: an icon, a message, a text below it, and a row of buttons, all of it plain text.
#pragma once

#include <QDialog>

#include <optional>

#include "LarkmoorAlert/AlertRequest.h"

namespace larkmoor {

class AlertWindow : public QDialog {
  public:
    explicit AlertWindow(const AlertRequest& request);

    /// The place of the button that ended `exec`; nothing if the window was closed without one.
    std::optional<int> choice() const { return choice_; }

  protected:
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    /// What Escape does: the last button.
    void reject() override;

  private:
    QWidget* makeIcon(const AlertRequest& request);
    QWidget* makeMessage(const QString& text, int width);
    QWidget* makeText(const QString& text, int width);
    QWidget* makeButtons(const QStringList& titles);
    void choose(int place);

    const int last_;
    std::optional<int> choice_;
};

}  // namespace larkmoor

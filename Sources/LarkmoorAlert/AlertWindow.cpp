#include "LarkmoorAlert/AlertWindow.h"

#include <QAccessible>
#include <QApplication>
#include <QCloseEvent>
#include <QDialogButtonBox>
#include <QFontInfo>
#include <QIcon>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QStyle>
#include <QVBoxLayout>

namespace larkmoor {

namespace {

constexpr int iconSize = 64;
// The drawing leaves a border around itself, which is not to show.
constexpr double iconGrowth = 1.24;
constexpr int textPixels = 13;
constexpr int textWidth = 240;
// More than a few sentences read better in longer lines.
constexpr int longText = 240;
constexpr int longTextWidth = 360;

/// The desktop's own font, no smaller than the alert is drawn for.
QFont textFont() {
    QFont font = QApplication::font();
    font.setPixelSize(std::max(textPixels, QFontInfo{font}.pixelSize()));
    return font;
}

QPixmap applicationIcon(double pixelRatio) {
    const QPixmap drawing{QStringLiteral(":/larkmoor.png")};
    QPixmap icon{QSize{iconSize, iconSize} * pixelRatio};
    icon.setDevicePixelRatio(pixelRatio);
    icon.fill(Qt::transparent);
    QPainter painter{&icon};
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    const double side = iconSize * iconGrowth;
    const double edge = (iconSize - side) / 2;
    painter.drawPixmap(QRectF{edge, edge, side, side}, drawing, drawing.rect());
    return icon;
}

QString themeName(AlertRequest::Style style) {
    switch (style) {
        case AlertRequest::Style::informational:
            return QStringLiteral("dialog-information");
        case AlertRequest::Style::warning:
            return QStringLiteral("dialog-warning");
        case AlertRequest::Style::critical:
            return QStringLiteral("dialog-error");
    }
    return {};
}

/// The desktop's icon for the style. A desktop without one leaves us ours, which at least says who speaks.
QPixmap styleIcon(AlertRequest::Style style, double pixelRatio) {
    const QPixmap icon = QIcon::fromTheme(themeName(style)).pixmap(QSize{iconSize, iconSize}, pixelRatio);
    return icon.isNull() ? applicationIcon(pixelRatio) : icon;
}

/// Nothing in the text is taken for a mark or a link.
QLabel* plainLabel(const QString& text, const QFont& font, int width) {
    auto* label = new QLabel;
    label->setTextFormat(Qt::PlainText);
    label->setFont(font);
    label->setWordWrap(true);
    label->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    label->setText(text);
    label->setFixedSize(width, label->heightForWidth(width));
    return label;
}

}  // namespace

AlertWindow::AlertWindow(const AlertRequest& request) : last_(static_cast<int>(request.buttons.size()) - 1) {
    setWindowTitle(QStringLiteral("Larkmoor"));
    setWindowFlag(Qt::WindowStaysOnTopHint);
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    setAccessibleName(request.message);
    setAccessibleDescription(request.text);

    // As wide as it was drawn for, in the measure of a larger font.
    const int drawn = request.text.size() > longText ? longTextWidth : textWidth;
    const int width = drawn * textFont().pixelSize() / textPixels;
    auto* column = new QVBoxLayout{this};
    column->setContentsMargins(20, 20, 20, 16);
    column->setSpacing(12);
    column->setSizeConstraint(QLayout::SetFixedSize);
    column->addWidget(makeIcon(request), 0, Qt::AlignHCenter);
    column->addWidget(makeMessage(request.message, width), 0, Qt::AlignHCenter);
    if (!request.text.isEmpty()) column->addWidget(makeText(request.text, width), 0, Qt::AlignHCenter);
    column->addSpacing(4);
    column->addWidget(makeButtons(request.buttons));
}

QWidget* AlertWindow::makeIcon(const AlertRequest& request) {
    auto* icon = new QLabel;
    const double pixelRatio = devicePixelRatioF();
    icon->setPixmap(request.showsApplicationIcon ? applicationIcon(pixelRatio) : styleIcon(request.style, pixelRatio));
    return icon;
}

QWidget* AlertWindow::makeMessage(const QString& text, int width) {
    QFont font = textFont();
    font.setBold(true);
    return plainLabel(text, font, width);
}

QWidget* AlertWindow::makeText(const QString& text, int width) {
    QLabel* label = plainLabel(text, textFont(), width);
    const int most = screen()->availableSize().height() / 2;
    if (label->height() <= most) return label;
    // The buttons stay on the screen, whatever is said above them.
    auto* scrolled = new QScrollArea;
    scrolled->setWidget(label);
    scrolled->setAccessibleName(text);
    scrolled->setFrameShape(QFrame::NoFrame);
    scrolled->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scrolled->setFixedSize(width + style()->pixelMetric(QStyle::PM_ScrollBarExtent), most);
    return scrolled;
}

QWidget* AlertWindow::makeButtons(const QStringList& titles) {
    auto* buttons = new QDialogButtonBox;
    buttons->setCenterButtons(true);
    for (int place = 0; place <= last_; ++place) {
        // Each desktop has an order of its own for these.
        const bool isFirst = place == 0;
        const auto role = isFirst          ? QDialogButtonBox::AcceptRole
                          : place == last_ ? QDialogButtonBox::RejectRole
                                           : QDialogButtonBox::ActionRole;
        QString title = titles[place];
        QPushButton* button = buttons->addButton(title.replace(QLatin1Char{'&'}, QLatin1String{"&&"}), role);
        button->setAccessibleName(titles[place]);
        button->setDefault(isFirst);
        if (isFirst) button->setFocus();
        connect(button, &QPushButton::clicked, this, [this, place] { choose(place); });
    }
    return buttons;
}

void AlertWindow::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    // So that a screen reader reads the message, and not only the button that has the focus.
    QAccessibleEvent alert{this, QAccessible::Alert};
    QAccessible::updateAccessibility(&alert);
}

void AlertWindow::closeEvent(QCloseEvent* event) {
    event->accept();
    done(QDialog::Rejected);
}

void AlertWindow::reject() { choose(last_); }

void AlertWindow::choose(int place) {
    choice_ = place;
    done(QDialog::Accepted);
}

}  // namespace larkmoor

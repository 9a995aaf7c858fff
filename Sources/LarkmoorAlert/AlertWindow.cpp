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

#include <utility>

#include "LarkmoorPlatform/AlertProtocol.h"

namespace larkmoor {

namespace {

constexpr int iconSize = 64;
// The image has a transparent border, which is cropped.
constexpr double iconGrowth = 1.24;
constexpr int textPixels = 13;
constexpr int textWidth = 240;
// Long texts get longer lines.
constexpr int longText = 240;
constexpr int longTextWidth = 360;

/// The desktop's font, at least in the size that the alert is designed for.
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

/// The icon theme's icon for the style, or the application's where the theme has none.
QPixmap styleIcon(AlertRequest::Style style, double pixelRatio) {
    const QPixmap icon = QIcon::fromTheme(themeName(style)).pixmap(QSize{iconSize, iconSize}, pixelRatio);
    return icon.isNull() ? applicationIcon(pixelRatio) : icon;
}

/// Markup and links are shown as text.
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

std::optional<AlertRequest> AlertRequest::read(const QByteArray& request) {
    namespace protocol = AlertProtocol;
    if (!request.endsWith('\0')) return std::nullopt;
    AlertRequest alert;
    for (const QByteArray& field : request.chopped(1).split('\0')) {
        const qsizetype equals = field.indexOf('=');
        if (equals < 0) return std::nullopt;
        const std::string_view name{field.constData(), static_cast<std::size_t>(equals)};
        const QByteArray bytes = field.sliced(equals + 1);
        const QString value = QString::fromUtf8(bytes);
        if (name == protocol::build) alert.build = value;
        if (name == protocol::asker) alert.asker = value.toLongLong();
        if (name == protocol::style && bytes == "warning") alert.style = Style::warning;
        if (name == protocol::style && bytes == "critical") alert.style = Style::critical;
        if (name == protocol::message) alert.message = value;
        if (name == protocol::text) alert.text = value;
        if (name == protocol::button) alert.buttons.append(value);
        if (name == protocol::icon) alert.showsApplicationIcon = bytes == "application";
    }
    return alert.buttons.isEmpty() ? std::nullopt : std::optional{alert};
}

AlertWindow::AlertWindow(const AlertRequest& request, std::function<void()> onShown)
    : last_(static_cast<int>(request.buttons.size()) - 1), onShown_(std::move(onShown)) {
    setWindowTitle(QStringLiteral("Larkmoor"));
    setWindowFlag(Qt::WindowStaysOnTopHint);
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    setAccessibleName(request.message);
    setAccessibleDescription(request.text);

    // The designed width, scaled to the font.
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
    // Keeps the buttons on the screen.
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
    for (int index = 0; index <= last_; ++index) {
        // The roles decide the order of the buttons, which depends on the desktop.
        const bool isFirst = index == 0;
        const auto role = isFirst          ? QDialogButtonBox::AcceptRole
                          : index == last_ ? QDialogButtonBox::RejectRole
                                           : QDialogButtonBox::ActionRole;
        QString title = titles[index];
        QPushButton* button = buttons->addButton(title.replace(QLatin1Char{'&'}, QLatin1String{"&&"}), role);
        button->setAccessibleName(titles[index]);
        button->setDefault(isFirst);
        if (isFirst) button->setFocus();
        connect(button, &QPushButton::clicked, this, [this, index] { choose(index); });
    }
    return buttons;
}

void AlertWindow::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    // Makes screen readers read the message, and not only the focused button.
    QAccessibleEvent alert{this, QAccessible::Alert};
    QAccessible::updateAccessibility(&alert);
}

/// Comes only after the window system has exposed the window, which a display or a window manager that hangs never
/// does.
void AlertWindow::paintEvent(QPaintEvent* event) {
    QDialog::paintEvent(event);
    if (const auto onShown = std::exchange(onShown_, nullptr)) onShown();
}

void AlertWindow::closeEvent(QCloseEvent* event) {
    event->accept();
    done(QDialog::Rejected);
}

void AlertWindow::reject() { choose(last_); }

void AlertWindow::choose(int index) {
    choice_ = index;
    done(QDialog::Accepted);
}

}  // namespace larkmoor

// The alert's window on an offscreen display: its text, its accessible text, and its keys.
#include <gtest/gtest.h>
#include <QApplication>
#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QTest>

#include <cstdio>
#include <cstdlib>

#include "LarkmoorAlert/AlertWindow.h"

namespace larkmoor {
namespace {

AlertRequest quit() {
    AlertRequest request;
    request.style = AlertRequest::Style::warning;
    request.message = QStringLiteral("Quit Larkmoor?");
    request.text =
        QStringLiteral("Recording stops. MCP stops. Settings closes. Icon leaves menu. Existing memories stay safe.");
    request.buttons = {QStringLiteral("Quit"), QStringLiteral("Details"), QStringLiteral("Cancel")};
    request.showsApplicationIcon = true;
    return request;
}

QLabel* labelWith(const AlertWindow& window, const QString& text) {
    for (QLabel* label : window.findChildren<QLabel*>()) {
        if (label->text() == text) return label;
    }
    return nullptr;
}

void show(AlertWindow& window) {
    window.show();
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
}

TEST(AlertWindow, EveryButtonIsReachedByTheKeyboardAndClosingChoosesNone) {
    constexpr Qt::Key close = Qt::Key_Close;
    struct Case {
        const char* name;
        int buttons;
        QList<Qt::Key> keys;
        std::optional<int> choice;
    };
    const Case table[] = {
        {"Enter", 3, {Qt::Key_Return}, 0},
        {"the space bar", 3, {Qt::Key_Space}, 0},
        {"Escape", 3, {Qt::Key_Escape}, 2},
        {"one on, space bar", 3, {Qt::Key_Tab, Qt::Key_Space}, 1},
        {"two on, Enter", 3, {Qt::Key_Tab, Qt::Key_Tab, Qt::Key_Return}, 2},
        {"closed", 3, {close}, std::nullopt},
        {"one button, Escape", 1, {Qt::Key_Escape}, 0},
    };
    for (const Case& row : table) {
        AlertRequest request = quit();
        request.buttons = request.buttons.first(row.buttons);
        AlertWindow window{request};
        show(window);
        for (const Qt::Key key : row.keys) {
            ASSERT_NE(window.focusWidget(), nullptr) << row.name;
            key == close ? static_cast<void>(window.close()) : QTest::keyClick(window.focusWidget(), key);
        }
        EXPECT_EQ(window.choice(), row.choice) << row.name;
        EXPECT_FALSE(window.isVisible()) << row.name;
    }
}

TEST(AlertWindow, TextIsCentredWrapsAndIsNeverMarkup) {
    const AlertWindow window{quit()};
    const QLabel* text = labelWith(window, quit().text);
    ASSERT_NE(text, nullptr);
    EXPECT_GE(text->height(), text->fontMetrics().height() * 2);
    EXPECT_TRUE(text->alignment().testFlag(Qt::AlignHCenter));

    AlertRequest marked = quit();
    marked.message = QStringLiteral("<b>bold</b> &amp; <a href='x'>link</a>");
    marked.text = QStringLiteral("<img src='/etc/passwd'>");
    marked.buttons = {QStringLiteral("This & that")};
    const AlertWindow plain{marked};
    for (const QString& words : {marked.message, marked.text}) {
        const QLabel* label = labelWith(plain, words);
        ASSERT_NE(label, nullptr);
        EXPECT_EQ(label->textFormat(), Qt::PlainText);
    }
    EXPECT_EQ(plain.findChild<QPushButton*>()->text(), QStringLiteral("This && that"));

    AlertRequest longer = quit();
    longer.text = QStringLiteral("Words that go on. ").repeated(500);
    AlertWindow tall{longer};
    show(tall);
    EXPECT_LT(tall.height(), tall.screen()->availableSize().height()) << "the buttons stay on the screen";
}

TEST(AlertRequest, IsReadWholeOrNotAtAll) {
    using namespace Qt::StringLiterals;
    QByteArray whole("build=7 asker=12 style=critical message=a=b text= later=x button=1 button=2 icon=application ");
    whole.replace(' ', '\0');
    const auto request = AlertRequest::read(whole);
    ASSERT_TRUE(request);
    EXPECT_EQ(request->asker, 12);
    EXPECT_EQ(request->style, AlertRequest::Style::critical);
    EXPECT_EQ(request->message, u"a=b"_s);
    EXPECT_EQ(request->buttons, (QStringList{u"1"_s, u"2"_s}));
    EXPECT_TRUE(request->showsApplicationIcon);
    for (qsizetype length = 0; length < whole.size(); ++length) {
        // What ends with a whole field and has a button is a request, though a shorter one.
        const QByteArray part = whole.first(length);
        EXPECT_EQ(AlertRequest::read(part).has_value(), part.contains("button=1") && part.endsWith('\0')) << length;
    }
}

}  // namespace
}  // namespace larkmoor

int main(int count, char** arguments) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application{count, arguments};
    testing::InitGoogleTest(&count, arguments);
    const int status = RUN_ALL_TESTS();
    std::fflush(stdout);
    // The toolkit's libraries keep memory of theirs until the end, which is no leak of ours.
    std::_Exit(status);
}

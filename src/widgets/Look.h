#pragma once

#include <QFont>
#include <QMargins>
#include <QPalette>
#include <QSize>
#include <QString>

class QMenu;
class QStyle;
class QWidget;

/// The looks that windows share: fonts, sizes, colours and style sheet rules. A dialog joins the rules into one sheet and
/// sets it last, when all children exist and have their names: a widget that is asked for its size before keeps the size
/// without the rules. Sizes are scaled from the design's 96 DPI by the screen of `w` (null: primary screen). GUI thread.
namespace tarn::visualized::look {

/// A literal with its length, which clang does not count at compile time under the sanitizers.
template <int Size>
constexpr QLatin1String latin1(const char (&text)[Size])
{
    return QLatin1String(text, Size - 1);
}

// Colours, for sheets and painters
inline constexpr QLatin1String Blue = latin1("#379AF5");      // faces of confirming buttons, focus, selection
inline constexpr QLatin1String TextBlue = latin1("#1E7FD8");  // links, hovered and selected titles
inline constexpr QLatin1String LinkBlue = latin1("#0C64EB");  // links in boxes and notices
inline constexpr QLatin1String PaleBlue = latin1("#EBF4FE");  // ground of selected or focused parts
inline constexpr QLatin1String BandBlue = latin1("#F1F8FE");  // title bands of the windows
inline constexpr QLatin1String FrameBlue = latin1("#53B3EA"); // borders of main windows
inline constexpr QLatin1String TextDark = latin1("#454D5A");  // running text
inline constexpr QLatin1String TextBlack = latin1("#333333"); // titles and names
inline constexpr QLatin1String TextGrey = latin1("#7F7F7F");  // secondary text
inline constexpr QLatin1String TextDisabled = latin1("#A5ABB3");
inline constexpr QLatin1String FrameGrey = latin1("#ADADAD");  // borders of the smaller windows
inline constexpr QLatin1String BandGrey = latin1("#EEF0F5");   // title band of message boxes
inline constexpr QLatin1String BorderGrey = latin1("#D5D9DF"); // borders of fields and menus, handles of scroll bars
inline constexpr QLatin1String RuleGrey = latin1("#E4E8EE");   // lines between parts

/// Paths of the pictures among the resources.
namespace icon {
inline constexpr QLatin1String Cancel = latin1(":/images/images/cancel.svg");
inline constexpr QLatin1String Close = latin1(":/images/images/close3.svg");
inline constexpr QLatin1String CloseNotice = latin1(":/images/images/notifyClose.svg");
inline constexpr QLatin1String Code = latin1(":/images/images/code.svg");
inline constexpr QLatin1String Collapse = latin1(":/images/images/gather.svg");
inline constexpr QLatin1String Delete = latin1(":/images/images/delete.svg");
inline constexpr QLatin1String Error = latin1(":/images/images/error.png");
inline constexpr QLatin1String Expand = latin1(":/images/images/expand.svg");
inline constexpr QLatin1String EyeClosed = latin1(":/images/images/closeEye.svg");
inline constexpr QLatin1String EyeOpen = latin1(":/images/images/openEye.svg");
inline constexpr QLatin1String Lock = latin1(":/images/images/lock.svg");
inline constexpr QLatin1String Login = latin1(":/images/images/logo3.ico");
inline constexpr QLatin1String Maximise = latin1(":/images/images/max2.png");
inline constexpr QLatin1String MessageCenter = latin1(":/images/images/msgCenter.svg");
inline constexpr QLatin1String Minimise = latin1(":/images/images/min2.png");
inline constexpr QLatin1String NoMessages = latin1(":/images/images/NoMsgTip.svg");
inline constexpr QLatin1String Normal = latin1(":/images/images/normal.png");
inline constexpr QLatin1String Phone = latin1(":/images/images/phone.svg");
inline constexpr QLatin1String QQ = latin1(":/images/images/qq.svg");
inline constexpr QLatin1String Question = latin1(":/images/images/question.png");
inline constexpr QLatin1String Quit = latin1(":/images/images/quit.svg");
inline constexpr QLatin1String ReadAll = latin1(":/images/images/ReadAll.svg");
inline constexpr QLatin1String Success = latin1(":/images/images/success.png");
inline constexpr QLatin1String Unread = latin1(":/images/images/Unread.svg");
inline constexpr QLatin1String UnreadBadge = latin1(":/images/images/RedNum.png");
inline constexpr QLatin1String Upgrade = latin1(":/images/images/upgrade_logo.svg");
inline constexpr QLatin1String User = latin1(":/images/images/user.svg");
inline constexpr QLatin1String Warning = latin1(":/images/images/warning.png");
inline constexpr QLatin1String Weixin = latin1(":/images/images/weixin.svg");
inline constexpr QLatin1String Window = latin1(":/images/images/VtSoftMgr.ico");
inline constexpr QLatin1String Progress = latin1(":/image/progress.gif");
} // namespace icon

// Sizes that windows share (design pixels at 96 DPI)
inline constexpr int TitleHeight = 35;      // title bands of boxes and of the smaller windows
inline constexpr int LargeTitleHeight = 40; // title bands of the message center and of the online upgrade
inline constexpr int TextPx = 13;           // labels and fields

/// "Microsoft YaHei", with a Chinese face of this machine where it is missing. The pixel size is a design size.
QFont yaHei(int px, int weight = QFont::Normal, const QWidget *w = nullptr);
/// The same face by its Chinese name "微软雅黑".
QFont yaHeiZh(int px, int weight = QFont::Normal, const QWidget *w = nullptr);
/// A design size in pixels of w's screen.
int scaled(int px, const QWidget *w = nullptr);
QSize scaled(const QSize &size, const QWidget *w = nullptr);
QMargins scaled(const QMargins &margins, const QWidget *w = nullptr);
/// Sets the margins and the spacing of a layout, which are design sizes. @return the layout
template <class Layout>
Layout *space(Layout *layout, const QMargins &margins, int spacing, const QWidget *w)
{
    layout->setContentsMargins(scaled(margins, w));
    layout->setSpacing(scaled(spacing, w));
    return layout;
}
/// The light colours of the windows, whatever the host's are.
QPalette palette();
/// The style of the windows in every host; lives as long as the application.
QStyle *style();
/// palette() with this colour of the text, which takes less time than a style sheet.
void setTextColor(QWidget *widget, const QColor &color);
/// A length for a sheet: scaled(12) as "12px".
QString px(int designPx, const QWidget *w = nullptr);

// Rules. The buttons' selectors match CCustomBtn by its tone; give another selector for other widgets.
/// Grey face and border, dark text.
QString greyButton(const QString &selector = QStringLiteral("CCustomBtn[tone=\"Grey\"]"));
/// Blue face, white text, darker on hover.
QString blueButton(const QString &selector = QStringLiteral("CCustomBtn[tone=\"Blue\"]"));
/// White face, light grey border.
QString whiteButton(const QString &selector = QStringLiteral("CCustomBtn[tone=\"White\"]"));
/// No face, blue text: links such as "忘记密码".
QString linkButton(const QString &selector = QStringLiteral("CCustomBtn[tone=\"Link\"]"));
/// Thin scroll bars without arrows: a handle on a ground, `width` design pixels wide, in every descendant of the
/// selector, e.g. look::thinScrollBars("#rows", 6, "white", look::BorderGrey).
QString thinScrollBars(const QString &selector, int width, const QString &ground, const QString &handle,
                       const QWidget *w = nullptr);
/// The colour of links in texts that give them none; Qt would take the host's.
QString linkRule();
/// A title bar's ground and, unless empty, the colour of the line under it.
QString titleBand(const QString &ground, const QString &line = QString());
/// Flat tabs with a blue line under the selected one. `size` are further properties of a tab, e.g. "width:150px;".
QString tabs(int height, const QString &size, const QWidget *w = nullptr);
/// A white pop-up menu with a blue selection.
QMenu *newMenu(QWidget *parent);

/// Gives a new widget the name by which sheets and tests find it. @return the widget
template <class Widget>
Widget *named(Widget *widget, const char *objectName)
{
    widget->setObjectName(QLatin1String(objectName));
    return widget;
}
/// The same, with yaHei(fontPx, weight) as its font.
template <class Widget>
Widget *named(Widget *widget, const char *objectName, int fontPx, int weight = QFont::Normal)
{
    widget->setFont(yaHei(fontPx, weight, widget));
    return named(widget, objectName);
}

/// Gives a top-level window its title, and its class name as object name and X role, by which X11 tools and screen readers
/// tell the windows apart. The host's event loop does not end with the window, and the host's style does not show in it.
/// Called first in the most derived class.
void prepareWindow(QWidget *window, const QString &title);
/// Deletes every window that prepareWindow() has prepared, also hidden and closing ones, and message boxes that run. The
/// event loop may not run again.
void deleteWindows();

} // namespace tarn::visualized::look

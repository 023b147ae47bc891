#pragma once

#include <QFont>
#include <QString>

class QWidget;

/// The looks that windows share: fonts, sizes, colours and style sheet rules. Rules are meant to be joined into the one
/// sheet of a dialog, set once and last, when all children are there and named: what asks for a size before remembers
/// that no rule applied; sizes in them are scaled from the design's 96 DPI by the screen of `w` (null: primary screen).
/// GUI thread.
namespace look {

// Colours
inline constexpr char Blue[] = "#379AF5";      // rgb(55,154,245), faces of confirming buttons
inline constexpr char TextDark[] = "#454D5A";  // running text
inline constexpr char FrameBlue[] = "#53B3EA"; // border of main windows
inline constexpr char BandGrey[] = "#EEF0F5";  // rgb(238,240,245), title band of message boxes

/// "Microsoft YaHei", with a Chinese face of this machine where it is missing. The pixel size is a design size.
QFont yaHei(int px, int weight = QFont::Normal, const QWidget *w = nullptr);
/// The same face by its Chinese name "微软雅黑".
QFont yaHeiZh(int px, int weight = QFont::Normal, const QWidget *w = nullptr);
/// A design size in pixels of w's screen.
int scaled(int px, const QWidget *w = nullptr);
/// A length for a sheet: scaled(12) as "12px".
QString px(int designPx, const QWidget *w = nullptr);

// Rules. The buttons' selectors match CCustomBtn by its tone; give another selector for other widgets.
/// Grey face and border, dark text: "全部忽略", "取消", "暂不更新".
QString greyButton(const QString &selector = QStringLiteral("CCustomBtn[tone=\"Grey\"]"));
/// Blue face, white text, darker on hover: "软件管理", "确定", "立即更新".
QString blueButton(const QString &selector = QStringLiteral("CCustomBtn[tone=\"Blue\"]"));
/// White face, light grey border: "立即升级" and "更新说明" in a row.
QString whiteButton(const QString &selector = QStringLiteral("CCustomBtn[tone=\"White\"]"));
/// No face, blue text: links such as "忘记密码".
QString linkButton(const QString &selector = QStringLiteral("CCustomBtn[tone=\"Link\"]"));
/// All of the above, for a dialog that uses several tones.
QString buttons();
/// Thin scroll bars without arrows: a handle on a ground, `width` design pixels wide, in every descendant of the
/// selector, e.g. look::thinScrollBars("#rows", 6, "white", "#D5D9DF").
QString thinScrollBars(const QString &selector, int width, const QString &ground, const QString &handle,
                       const QWidget *w = nullptr);
/// A title bar's ground and, unless empty, the colour of the line under it.
QString titleBand(const QString &ground, const QString &line = QString());
/// Text fields: white with a grey border, blue when focused.
QString lineEdit(const QString &selector = QStringLiteral("QLineEdit"));
/// White pop-up menus with a blue selection.
QString menu(const QWidget *w = nullptr);

/// What every top-level window of ours has: a title for X11 tools and screen readers, the class name as object name and
/// X role, and no say in the host's "last window closed". Call it from the most derived constructor.
void prepareWindow(QWidget *window, const QString &title);

} // namespace look

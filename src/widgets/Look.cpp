#include "widgets/Look.h"
#include "widgets/dpitoolkit.h"
#include <QApplication>
#include <QMenu>
#include <QPointer>
#include <QStyle>
#include <QStyleFactory>
#include <QWidget>
#include <utility>

namespace tarn::visualized::look {
namespace {

QList<QPointer<QWidget>> prepared; // the windows; GUI thread

// For the two names alone, which style sheets and windows ask for: nothing else in the host changes.
void addSubstitutes()
{
    static bool added = false;
    if (std::exchange(added, true))
        return;
    const QStringList faces = {QStringLiteral("Noto Sans CJK SC"),    QStringLiteral("Noto Sans SC"),
                               QStringLiteral("Source Han Sans SC"),  QStringLiteral("Source Han Sans CN"),
                               QStringLiteral("WenQuanYi Micro Hei"), QStringLiteral("WenQuanYi Zen Hei"),
                               QStringLiteral("Droid Sans Fallback")};
    for (const QString &name : {QStringLiteral("Microsoft YaHei"), QStringLiteral("微软雅黑")})
        QFont::insertSubstitutions(name, faces);
}

QFont face(const QString &family, int size, int weight, const QWidget *w)
{
    addSubstitutes();
    QFont font(family);
    font.setPixelSize(std::max(1, scaled(size, w)));
    font.setWeight(weight);
    return font;
}

QString button(const QString &selector, const QString &normal, const QString &hover, const QString &pressed,
               const QString &focus)
{
    return QStringLiteral("%1{%2 border-radius:3px; padding:0px 6px; margin:0px; outline:none;}"
                          "%1:hover{%3}"
                          "%1:pressed{%4}"
                          "%1:focus{%5}"
                          "%1:disabled{background-color:#ECEEF1; border:1px solid #DFE2E6; color:%6;}")
        .arg(selector, normal, hover, pressed, focus, TextDisabled);
}

bool hostHasSheet()
{
    return !qApp->styleSheet().isEmpty();
}

QString textColorSheet(const QColor &color)
{
    return QStringLiteral("color:%1;").arg(color.name());
}

QString menuSheet(const QWidget *w)
{
    return QStringLiteral("QMenu{background-color:white; border:1px solid %3; color:%4; padding:%1 0px;}"
                          "QMenu::item{padding:%1 %2 %1 %2; background-color:transparent;}"
                          "QMenu::item:selected{background-color:%5; color:%6;}"
                          "QMenu::item:disabled{background-color:transparent; color:%7;}")
        .arg(px(5, w), px(24, w), BorderGrey, TextDark, PaleBlue, TextBlue, TextDisabled);
}

} // namespace

QFont yaHei(int size, int weight, const QWidget *w)
{
    return face(QStringLiteral("Microsoft YaHei"), size, weight, w);
}

QFont yaHeiZh(int size, int weight, const QWidget *w)
{
    return face(QStringLiteral("微软雅黑"), size, weight, w);
}

int scaled(int size, const QWidget *w)
{
    return Utils::DpiToolkit::dpiScaled(size, w);
}

QSize scaled(const QSize &size, const QWidget *w)
{
    return {scaled(size.width(), w), scaled(size.height(), w)};
}

QMargins scaled(const QMargins &margins, const QWidget *w)
{
    return {scaled(margins.left(), w), scaled(margins.top(), w), scaled(margins.right(), w),
            scaled(margins.bottom(), w)};
}

QStyle *style()
{
    static QPointer<QStyle> own;
    if (!own) {
        own = QStyleFactory::create(QStringLiteral("Fusion"));
        own->setParent(qApp);
    }
    return own;
}

QPalette palette()
{
    static const QPalette light = style()->standardPalette();
    return light;
}

void setTextColor(QWidget *widget, const QColor &color)
{
    QPalette colors = palette();
    colors.setColor(QPalette::WindowText, color);
    widget->setPalette(colors);
    if (hostHasSheet())
        widget->setStyleSheet(textColorSheet(color));
}

QString px(int designPx, const QWidget *w)
{
    return QString::number(scaled(designPx, w)) + QStringLiteral("px");
}

QString greyButton(const QString &selector)
{
    return button(selector,
                  QStringLiteral("background-color:#F4F5F7; border:1px solid #CBD0D7; color:%1;").arg(TextDark),
                  QStringLiteral("background-color:#FFFFFF; border-color:#A9B1BB;"),
                  QStringLiteral("background-color:#E6E9ED;"), QStringLiteral("border:2px solid %1;").arg(Blue));
}

QString blueButton(const QString &selector)
{
    return button(selector,
                  QStringLiteral("background-color:rgb(55,154,245); border:1px solid rgb(55,154,245); color:white;"),
                  QStringLiteral("background-color:rgb(36,131,219); border-color:rgb(36,131,219);"),
                  QStringLiteral("background-color:rgb(26,112,192);"), QStringLiteral("border:2px solid #0B4F94;"));
}

QString whiteButton(const QString &selector)
{
    return button(
        selector, QStringLiteral("background-color:white; border:1px solid %1; color:%2;").arg(BorderGrey, TextDark),
        QStringLiteral("border-color:%1; color:%2;").arg(Blue, TextBlue),
        QStringLiteral("background-color:%1;").arg(PaleBlue), QStringLiteral("border:2px solid %1;").arg(Blue));
}

QString linkButton(const QString &selector)
{
    return button(selector, QStringLiteral("background-color:transparent; border:none; color:%1;").arg(TextBlue),
                  QStringLiteral("color:%1; text-decoration:underline;").arg(LinkBlue),
                  QStringLiteral("color:#0B4F94;"), QStringLiteral("border:1px dotted %1;").arg(Blue)) +
           QStringLiteral("%1:disabled{background-color:transparent; border:none;}").arg(selector);
}

QString linkRule()
{
    return QStringLiteral("a:link{color:%1;}").arg(LinkBlue);
}

QString thinScrollBars(const QString &selector, int width, const QString &ground, const QString &handle,
                       const QWidget *w)
{
    const int thick = std::max(1, scaled(width, w));
    return QStringLiteral("%1 QScrollBar:vertical{border:none; background:%2; width:%3px; margin:0px;}"
                          "%1 QScrollBar:horizontal{border:none; background:%2; height:%3px; margin:0px;}"
                          "%1 QScrollBar::handle{background:%4; border-radius:%5px;}"
                          "%1 QScrollBar::handle:vertical{min-height:%6px;}"
                          "%1 QScrollBar::handle:horizontal{min-width:%6px;}"
                          "%1 QScrollBar::add-line,%1 QScrollBar::sub-line{width:0px; height:0px;}"
                          "%1 QScrollBar::add-page,%1 QScrollBar::sub-page{background:none;}")
        .arg(selector, ground, QString::number(thick), handle, QString::number(thick / 2),
             QString::number(scaled(24, w)));
}

QString titleBand(const QString &ground, const QString &line)
{
    const QString bottom = line.isEmpty() ? QStringLiteral("border:none;")
                                          : QStringLiteral("border:none; border-bottom:1px solid %1;").arg(line);
    return QStringLiteral("CustomTitleBar{background-color:%1; %2} CustomTitleBar>QLabel{color:%3;}")
        .arg(ground, bottom, TextDark);
}

QString tabs(int height, const QString &size, const QWidget *w)
{
    return QStringLiteral("QTabWidget::pane{border:none;border-top:1px solid %1;background-color:white;}"
                          "QTabBar{background-color:white;}"
                          "QTabBar::tab{background-color:white;border:none;border-bottom:2px solid transparent;"
                          "color:#636D7E;height:%2;margin:0px;%3}"
                          "QTabBar::tab:hover{color:%4;}"
                          "QTabBar::tab:selected{color:%4;border-bottom-color:%5;}"
                          "QTabBar::tab:focus{background-color:%6;}")
        .arg(RuleGrey, px(height, w), size, TextBlue, Blue, PaleBlue);
}

QMenu *newMenu(QWidget *parent)
{
    auto *menu = new QMenu(parent);
    menu->setStyleSheet(menuSheet(parent));
    menu->setFont(yaHei(12, QFont::Normal, parent));
    return menu;
}

void prepareWindow(QWidget *window, const QString &title)
{
    addSubstitutes(); // this may be the first window, and name the face in its sheet only
    const QString name = QString::fromLatin1(window->metaObject()->className()).section(QStringLiteral("::"), -1);
    window->setObjectName(name);
    window->setWindowRole(name);
    window->setWindowTitle(title);
    window->setAttribute(Qt::WA_QuitOnClose, false);
    if (!QApplication::style()->inherits("QFusionStyle")) // it takes time
        window->setStyle(style());
    if (hostHasSheet())
        window->ensurePolished(); // else Qt ignores the window's sheet for children that are polished before it is set
    prepared.removeAll(QPointer<QWidget>());
    prepared << window;
}

void deleteWindows()
{
    const auto windows = std::exchange(prepared, {});
    for (const QPointer<QWidget> &window : windows)
        delete window;
}

} // namespace tarn::visualized::look

#include "message/NotifyWnd.h"
#include "base/Log.h"
#include "frame/ManagerAccess.h"
#include "message/LinkLabel.h"
#include "message/MessageServiceArgs.h"
#include "message/MsgDataUpdTask.h"
#include "message/RichTextLabel.h"
#include "tarn/keys/MessageKeys.h"
#include "widgets/AccessibleRole.h"
#include "widgets/BringToFront.h"
#include "widgets/Compositor.h"
#include "widgets/ElideLabel.h"
#include "widgets/Look.h"
#include "widgets/Picture.h"
#include "widgets/Placement.h"
#include "widgets/SafeHtml.h"
#include "widgets/ShownText.h"
#include "widgets/TextMenu.h"
#include "widgets/WebLink.h"
#include <QApplication>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QTextLayout>
#include <QThreadPool>
#include <QWindow>
#include <QtMath>

using namespace tarn::visualized;

namespace {
namespace key = tarn::message::key;

// Metrics (pixels)
constexpr int SideMargin = 40;
constexpr int TopMargin = 35;
constexpr int BottomMargin = 20;
constexpr int MaxPictureHeight = 150;     // of the picture below the body
constexpr int MaxBodyPictureHeight = 250; // of one within the body
constexpr int MaxHeight = 400;
constexpr int Width = 400;
constexpr int TextWidth = Width - 2 * SideMargin;
constexpr int ShadowWidth = 3;
constexpr int BorderWidth = 1;
constexpr int FrameRadius = 5;
constexpr int HeightExtra = 14;
constexpr int GapSum = HeightExtra - 2 * ShadowWidth; // of the gaps between the rows, where there is room
constexpr int ScrollBarRoom = 10;                     // right of the body: the bar and the border of the focus
constexpr int FocusBorders = 2;                       // upper and lower
constexpr int FontSize = 12;                          // of body, link and button
constexpr int BadgeSize = 19;
constexpr QSize CenterIcon(18, 18);
constexpr QSize CloseIcon(16, 16);
constexpr int IconGap = 4;                // between icon and text of a button
constexpr QSize CenterButtonFrame(10, 6); // border and padding of its sheet
// Rules
constexpr int MaxTitleLines = 2;
constexpr int MaxShownUnread = 50;
constexpr int MaxCountedChars = 200; // of a title, more than its lines hold

// Look
// No sheet on the window, nor on the texts: to match and apply it takes longer than the rest of a notice.
QString closeSheet()
{
    return QStringLiteral("QPushButton{border:none;border-radius:4px;padding:0px;margin:0px;background:transparent;"
                          "outline:none;}"
                          "QPushButton:hover{background:#EDF1F7;}"
                          "QPushButton:pressed{background:#DDE5F0;}"
                          "QPushButton:focus{border:1px solid #1E95F6;}");
}

QString msgCenterSheet()
{
    return QStringLiteral("QPushButton{border:1px solid transparent;border-radius:4px;padding:2px 4px;margin:0px;"
                          "background:transparent;color:#333333;text-align:left;outline:none;}"
                          "QPushButton:focus{border:1px solid #1E95F6;}"
                          "QPushButton:hover{color:#1E95F6;}"
                          "QPushButton:pressed{border:0px;border-color:white;background:rgb(255,255,255);}");
}

QString linkLook()
{
    return QStringLiteral("color:%1;text-decoration:none").arg(look::LinkBlue);
}

QString scrollBarSheet()
{
    return QStringLiteral("QScrollBar:vertical{background:rgba(240,240,240,0.8);width:8px;margin:12px 0px 12px 0px;"
                          "border-radius:4px;}"
                          "QScrollBar::handle:vertical{background:#C8C8C8;border-radius:4px;min-height:24px;}"
                          "QScrollBar::handle:vertical:hover{background:#AAAAAA;}"
                          "QScrollBar::add-line:vertical,QScrollBar::sub-line:vertical{height:0px;}"
                          "QScrollBar::add-page:vertical,QScrollBar::sub-page:vertical{background:transparent;}");
}

QString bodyAreaSheet()
{
    return QStringLiteral("*{background-color:white;}"
                          "#notify-body-area{border:1px solid transparent;}"
                          "#notify-body-area:focus{border:1px dotted #1E95F6;}");
}

QString emptyBadgeSheet()
{
    return QStringLiteral("QLabel{color: white;}");
}

QString badgeSheet()
{
    return QStringLiteral("QLabel{border-image: url(:/images/images/RedNum.png);color: white;}");
}

QString bodyHtml(const QString &content)
{
    return QStringLiteral(
               "<p style='line-height:120%;font-size:12px;font-family:微软雅黑;white-space: pre-wrap;'>%1</p>")
        .arg(safehtml::reduce(content, safehtml::notice()).text);
}

// The sizes of a notice are given in pixels and not scaled.
QFont fontOf(int pixelSize)
{
    QFont font = look::yaHeiZh(pixelSize);
    font.setPixelSize(pixelSize);
    return font;
}

// Height of a link on one line; equals that of its markup when that is laid out.
int linkHeight(const QString &text, const QFont &font)
{
    QTextLayout layout(text, font);
    layout.beginLayout();
    QTextLine line = layout.createLine();
    line.setLeadingIncluded(true);
    line.setLineWidth(QWIDGETSIZE_MAX);
    layout.endLayout();
    return qCeil(line.height());
}

void setLook(QLabel *label, const char *name, const QFont &font)
{
    label->setObjectName(QLatin1String(name));
    label->setFont(font);
    look::setTextColor(label, Qt::black);
}

QPushButton *flatButton(const char *name, const QString &text, QWidget *parent)
{
    auto *button = look::named(new QPushButton(text, parent), name);
    button->setFlat(true);
    button->setFont(fontOf(FontSize));
    button->setCursor(Qt::PointingHandCursor);
    button->setFocusPolicy(Qt::TabFocus);
    return button;
}

// Sets a picture from the shared ones: a QIcon of the vector file would add a pixmap to the cache for each notice.
void dressButton(QPushButton *button, const QString &sheet, const QString &picture, const QSize &size)
{
    button->setStyleSheet(sheet);
    button->setIconSize(size);
    button->setIcon(picture::load(picture, size, qApp->devicePixelRatio()));
}

} // namespace

int GetRowsByLabelText(QFontMetrics fm, QString text, int width)
{
    if (text.size() < 2)
        return 1;
    int rows = 1;
    int start = 0;
    int end = 1;
    do {
        const QRect row = fm.boundingRect(text.mid(start, end - start));
        if (row.right() - row.left() >= width) {
            if (end - start > 1) // a character wider than the label fills a row
                --end;
            ++rows;
            start = end;
        }
        ++end;
    } while (end < text.size());
    return rows;
}

NotifyWnd::NotifyWnd(QWidget *parent)
    : QWidget(parent, Qt::Tool | Qt::FramelessWindowHint)
{
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_NoSystemBackground);
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_DeleteOnClose);
    look::prepareWindow(this, QStringLiteral("消息通知"));
    accessible::setRole(this, QAccessible::Notification); // announced without the focus
    AdjustSizeByScreen();
    InitUi();
    connect(Compositor::instance(), &Compositor::changed, this, &NotifyWnd::updateShape);
    connect(qApp, &QGuiApplication::primaryScreenChanged, this, &NotifyWnd::followScreen);
    followScreen(QGuiApplication::primaryScreen());
}

// The user cannot drag a notice back from a place outside of all screens.
void NotifyWnd::followScreen(const QScreen *screen)
{
    for (const QScreen *former : QGuiApplication::screens())
        disconnect(former, nullptr, this, nullptr);
    if (!screen)
        return;
    connect(screen, &QScreen::logicalDotsPerInchChanged, this, &NotifyWnd::DpiChanged);
    connect(screen, &QScreen::availableGeometryChanged, this, &NotifyWnd::moveToCorner);
    moveToCorner();
}

void NotifyWnd::moveToCorner()
{
    const QSize size = placement::settledSize(this);
    setGeometry(QRect(cornerPos(10, 10) - QPoint(size.width(), size.height()), size));
}

QString NotifyWnd::GetMsgId() const
{
    return textOf(key::MsgId);
}

QPoint NotifyWnd::cornerPos(int dx, int dy) const
{
    const QScreen *screen = QGuiApplication::primaryScreen();
    const QRect area = screen ? screen->availableGeometry() : QRect();
    return {area.right() - dx, area.bottom() - dy};
}

QSize NotifyWnd::ScreenSize() const
{
    const QScreen *screen = QGuiApplication::primaryScreen();
    if (!screen)
        return {};
    const QSize size = screen->size();
    const QRect full = screen->geometry();
    const QRect available = screen->availableGeometry();
    if (available.width() != full.width())
        return {size.width() - (full.width() - available.width()), size.height()};
    return {size.width(), size.height() - (full.height() - available.height())};
}

void NotifyWnd::setData(const QMap<QString, QVariant> &data)
{
    m_data = data;
    m_isDressed = false;
    showTitle(textOf(key::MsgTitle));
    m_body->showHtml(bodyHtml(textOf(key::MsgContent)));
    setLink(textOf(key::LinkText), textOf(key::LinkAdress));
    SetPicPath(textOf(key::PicFilePath));
    setAccessibleName(windowTitle() + QStringLiteral("：") + m_title->accessibleName());
    ResizeWnd();
}

void NotifyWnd::CreateCtrl()
{
    m_msgCenterButton->show();
    m_badge->clear();
    m_isDressed = false;
    update();
    m_msgCenterButton->setAccessibleName(QStringLiteral("消息中心"));
    if (m_unreadCount < 1)
        return;
    const QString number = QString::number(qMin(m_unreadCount, MaxShownUnread));
    m_badge->setText(number);
    m_msgCenterButton->setAccessibleName(QStringLiteral("消息中心，%1条未读消息").arg(number));
    VT_LOG(info) << QStringLiteral("通知栏消息：未读数量") + number;
}

void NotifyWnd::MsgBtnClick()
{
    VT_LOG(info) << QStringLiteral("通知栏窗口打开消息中心。消息ID:%1").arg(GetMsgId());
    auto input = QSharedPointer<CMessageService_InputArgs>::create();
    const auto posted =
        CManagerAccess::post(CVisualizedEvents::eShowMessageCenterDialog, std::make_unique<CMsgCenterEventData>(input));
    if (posted == CManagerAccess::Posted::Yes)
        CloseDlg();
    else // the notice stays, so that the user can try again
        VT_LOG(warning) << QStringLiteral("通知栏窗口打开消息中心失败。消息ID:%1").arg(GetMsgId());
}

void NotifyWnd::OnlinkActivated(QString link)
{
    VT_LOG(info) << QStringLiteral("消息以点击-消息id:") + GetMsgId();
    if (!weblink::open(link)) {
        VT_LOG(warning) << QStringLiteral("通知栏消息：链接无法打开。消息ID:%1").arg(GetMsgId());
        return;
    }
    CMsgUpdTaskData task;
    task.msgIds = QStringList(GetMsgId());
    task.receipt = tarn::message::receipt::Clicked;
    QThreadPool::globalInstance()->start(new CMsgDataUpdTask(task));
}

void NotifyWnd::DpiChanged(double)
{
    const QSize screen = ScreenSize();
    move(screen.width() - (width() - 1) - 11, screen.height() - (height() - 1) - 11);
}

void NotifyWnd::endPaintWait()
{
    dress();
    if (m_painted)
        return;
    m_painted = true;
    emit firstPainted();
}

// Not before the mapping: sheets, pictures and the link's markup take half of the time until then, and load plug-ins the
// first time.
void NotifyWnd::dress()
{
    if (std::exchange(m_isDressed, true))
        return;
    dressButton(m_msgCenterButton, msgCenterSheet(), look::icon::MessageCenter, CenterIcon);
    dressButton(m_closeButton, closeSheet(), look::icon::CloseNotice, CloseIcon);
    m_badge->setStyleSheet(m_badge->text().isEmpty() ? emptyBadgeSheet() : badgeSheet());
    showLink();
}

void NotifyWnd::paintEvent(QPaintEvent *)
{
    dress();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    if (Compositor::instance()->isRunning()) {
        painter.setBrush(QColor(30, 50, 80, 14));
        for (int i = 0; i < ShadowWidth; ++i)
            painter.drawRoundedRect(rect().adjusted(i, i, -i, -i), FrameRadius + ShadowWidth - i,
                                    FrameRadius + ShadowWidth - i);
    }
    painter.setBrush(QColor(0xC9D3E0));
    const QRectF frame = m_background->geometry();
    painter.drawRoundedRect(frame, FrameRadius, FrameRadius);
    painter.setBrush(Qt::white);
    painter.drawRoundedRect(frame.adjusted(BorderWidth, BorderWidth, -BorderWidth, -BorderWidth),
                            FrameRadius - BorderWidth, FrameRadius - BorderWidth);
    endPaintWait();
}

void NotifyWnd::showEvent(QShowEvent *e)
{
    QWidget::showEvent(e);
    // Qt keeps the size in device pixels when the notice changes to a screen of another scale.
    connect(windowHandle(), &QWindow::screenChanged, this, &NotifyWnd::moveToCorner,
            Qt::ConnectionType(Qt::QueuedConnection | Qt::UniqueConnection));
    // A window manager may give it the keyboard all the same.
    front::neutralFocus(this);
}

void NotifyWnd::closeEvent(QCloseEvent *e)
{
    if (void (*callback)() = std::exchange(m_callback, nullptr))
        callback();
    QWidget::closeEvent(e);
}

void NotifyWnd::keyPressEvent(QKeyEvent *e)
{
    if (e->key() == Qt::Key_Escape)
        CloseDlg();
    else if (e->key() == Qt::Key_PageUp || e->key() == Qt::Key_PageDown)
        QApplication::sendEvent(m_bodyArea->verticalScrollBar(), e); // also when a button has the focus
    else
        QWidget::keyPressEvent(e);
}

void NotifyWnd::InitUi()
{
    m_background = look::named(new QWidget(this), "notify-background");
    m_title = new ElideLabel(m_background);
    QFont bold = fontOf(15);
    bold.setBold(true);
    setLook(m_title, "notify-title", bold);
    m_title->setFixedWidth(TextWidth);
    m_title->setMaximumLines(MaxTitleLines);
    makeBody();
    m_picture = look::named(new QLabel(m_background), "notify-picture");
    // Tab follows the order of creation.
    m_link = new LinkLabel(m_background);
    setLook(m_link, "notify-url", fontOf(FontSize));
    connect(m_link, &QLabel::linkActivated, this, &NotifyWnd::OnlinkActivated);
    m_msgCenterButton = flatButton("notify-msgcenter-btn", QStringLiteral("消息中心 "), m_background);
    m_msgCenterButton->hide(); // until CreateCtrl()
    connect(m_msgCenterButton, &QPushButton::clicked, this, &NotifyWnd::MsgBtnClick);
    m_badge = look::named(new QLabel(m_msgCenterButton), "notify-badge");
    m_badge->setAttribute(Qt::WA_TransparentForMouseEvents);
    m_badge->setFont(fontOf(11));
    m_badge->setScaledContents(true);
    m_badge->setAlignment(Qt::AlignHCenter | Qt::AlignVCenter);
    m_closeButton = flatButton("notify-close-btn", QString(), m_background);
    m_closeButton->setAccessibleName(QStringLiteral("关闭"));
    m_closeButton->setToolTip(m_closeButton->accessibleName());
    connect(m_closeButton, &QPushButton::clicked, this, &NotifyWnd::CloseDlg);

    const QSize text = m_msgCenterButton->fontMetrics().size(Qt::TextShowMnemonic, m_msgCenterButton->text());
    const QSize content(CenterIcon.width() + IconGap + text.width(), qMax(CenterIcon.height(), text.height()));
    const QSize button = content + CenterButtonFrame;
    m_msgCenterButton->setGeometry(6, 5, button.width() + BadgeSize, qMax(button.height(), BadgeSize));
    m_badge->setGeometry(button.width(), (m_msgCenterButton->height() - BadgeSize) / 2, BadgeSize, BadgeSize);
}

void NotifyWnd::makeBody()
{
    m_bodyArea = new QScrollArea(m_background);
    m_bodyArea->setFrameShape(QFrame::NoFrame);
    m_bodyArea->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_bodyArea->setFocusPolicy(Qt::NoFocus);
    removeScrollBarMenus(m_bodyArea);
    m_body = new RichTextLabel(TextWidth, MaxBodyPictureHeight, m_bodyArea);
    setLook(m_body, "notify-body", fontOf(FontSize));
    connect(m_body, &RichTextLabel::heightChanged, this, &NotifyWnd::grow);
    m_bodyArea->setWidget(m_body);
    m_bodyArea->viewport()->setAutoFillBackground(false); // the ground is white
    m_body->setAutoFillBackground(false);
}

// The bar's sheet takes time that short notices need not spend.
void NotifyWnd::makeBodyScroll()
{
    if (m_bodyArea->focusPolicy() != Qt::NoFocus)
        return;
    m_bodyArea->setFocusPolicy(Qt::TabFocus); // the arrow keys scroll it
    m_bodyArea->setAccessibleName(QStringLiteral("消息内容"));
    m_bodyArea->setObjectName(QStringLiteral("notify-body-area"));
    m_bodyArea->setStyleSheet(bodyAreaSheet());
    m_bodyArea->verticalScrollBar()->setStyleSheet(scrollBarSheet());
}

void NotifyWnd::AdjustSizeByScreen()
{
    setFixedSize(Width, MaxHeight);
}

void NotifyWnd::SetPicPath(const QString &path)
{
    m_picture->hide();
    if (path.isEmpty())
        return;
    picture::readLater(this, path, QSize(TextWidth, MaxPictureHeight), devicePixelRatioF(),
                       [this, path](const QImage &image) {
                           if (path == textOf(key::PicFilePath))
                               showPicture(image);
                       });
}

void NotifyWnd::showPicture(const QImage &image)
{
    if (image.isNull()) {
        VT_LOG(warning) << QStringLiteral("通知栏消息：图片无法显示。消息ID:%1").arg(GetMsgId());
        return;
    }
    m_picture->setPixmap(QPixmap::fromImage(image));
    m_picture->show();
    grow();
}

void NotifyWnd::showTitle(const QString &title)
{
    m_title->ensurePolished();
    m_title->setFullText(title.simplified());
    const QFontMetrics metrics = m_title->fontMetrics();
    const int shownRows = m_title->text().count(QLatin1Char('\n')) + 1;
    const QString counted = text::beginning(title, MaxCountedChars);
    // To count takes a measurement for each character, which a short title need not spend.
    const bool isShort = metrics.horizontalAdvance(counted) < m_title->width() / 2;
    const int rows = isShort ? 1 : qMin(GetRowsByLabelText(metrics, counted, m_title->width()), MaxTitleLines);
    m_title->setFixedHeight(qMax(shownRows * metrics.lineSpacing(), rows * metrics.height()));
}

void NotifyWnd::setLink(const QString &text, const QString &address)
{
    const QString shown = text::elided((text.isEmpty() ? address : text).simplified(), fontOf(FontSize), TextWidth);
    m_link->ensurePolished();
    m_link->setVisible(!shown.isEmpty());
    m_link->setAccessibleName(shown);
    const bool isLink = !weblink::target(address).isEmpty();
    if (!isLink)
        showLink();
    // Not by the size hint of a link, for which QLabel lays its markup out six times.
    m_link->resize(m_link->fontMetrics().horizontalAdvance(shown) + SideMargin,
                   isLink ? linkHeight(shown, m_link->font()) : m_link->heightForWidth(0));
}

void NotifyWnd::showLink()
{
    m_link->showLink(m_link->accessibleName(), textOf(key::LinkAdress), linkLook());
}

// The lower edge keeps its place.
void NotifyWnd::grow()
{
    const int before = height();
    ResizeWnd();
    if (isVisible())
        move(x(), y() - (height() - before));
}

void NotifyWnd::ResizeWnd()
{
    const bool hasPicture = !m_picture->isHidden();
    const bool hasLink = !m_link->isHidden();
    if (hasPicture)
        m_picture->resize(m_picture->sizeHint());
    const int rows = m_title->height() + (hasLink ? m_link->height() : 0) + (hasPicture ? m_picture->height() : 0);
    const int others = rows + TopMargin + BottomMargin + HeightExtra;
    const int bodyRoom = MaxHeight - others;
    const bool scrolls = m_body->height() > bodyRoom;
    if (scrolls)
        makeBodyScroll();
    m_bodyArea->resize(TextWidth + ScrollBarRoom,
                       scrolls ? m_body->heightOfWholeLines(bodyRoom - FocusBorders) + FocusBorders : m_body->height());
    setFixedHeight(qMin(others + m_body->height(), MaxHeight));
    const int room = height() - others + HeightExtra - 2 * (ShadowWidth + BorderWidth) - m_bodyArea->height();
    const int gap = qMin(GapSum, room) / (1 + int(hasPicture) + int(hasLink));
    int top = TopMargin + BorderWidth;
    for (QWidget *row : std::initializer_list<QWidget *>{m_title, m_bodyArea, m_picture, m_link}) {
        row->move(SideMargin - ShadowWidth + BorderWidth, top);
        if (!row->isHidden())
            top += row->height() + gap;
    }
    m_background->setGeometry(rect().adjusted(ShadowWidth, ShadowWidth, -ShadowWidth, -ShadowWidth));
    m_closeButton->setGeometry(m_background->width() - 24 - 5, 5, 24, 24);
    updateShape();
}

void NotifyWnd::updateShape()
{
    // Without a compositor, translucent pixels are black.
    QPainterPath frame;
    frame.addRoundedRect(m_background->geometry(), FrameRadius, FrameRadius);
    if (Compositor::instance()->isRunning())
        clearMask();
    else
        setMask(QRegion(frame.toFillPolygon().toPolygon()));
    update(); // the shadow
}

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
#include "widgets/SafeHtml.h"
#include "widgets/ShownText.h"
#include "widgets/TextMenu.h"
#include "widgets/WebLink.h"
#include <QApplication>
#include <QFrame>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QThreadPool>
#include <QVBoxLayout>

using namespace tarn::visualized;

namespace {
namespace key = tarn::message::key;

// Metrics (pixels)
constexpr int ShadowWidth = 3;
constexpr int FrameRadius = 5;
constexpr int HeightExtra = 14;
constexpr int GapSum = HeightExtra - 2 * ShadowWidth; // of the gaps between the rows
constexpr int ScrollBarRoom = 10;                     // right of the body: the bar and the border of the focus
constexpr int FocusBorders = 2;                       // upper and lower
constexpr QSize CloseIcon(16, 16);
constexpr QSize MsgCenterIcon(18, 18);
constexpr int BadgeSize = 19;
constexpr int MaxTitleLines = 2;
// Rules
constexpr int MaxShownUnread = 50;
constexpr int MaxCountedChars = 200; // of a title, more than its lines hold

// Look
QString windowSheet(int titleSize, int bodySize, int linkSize)
{
    return QStringLiteral("#notify-background{background-color:white;border:1px solid #C9D3E0;border-radius:%1px;}"
                          "#notify-close-btn{border:none;border-radius:4px;background:transparent;}"
                          "#notify-close-btn:hover{background:#EDF1F7;}"
                          "#notify-close-btn:pressed{background:#DDE5F0;}"
                          "#notify-close-btn:focus,#notify-msgcenter-btn:focus{border:1px solid #1E95F6;}"
                          "#notify-msgcenter-btn{border:1px solid transparent;border-radius:4px;padding:2px 4px;"
                          "background:transparent;color:#333333;text-align:left;}"
                          "#notify-msgcenter-btn:hover{color:#1E95F6;}"
                          "#notify-body-area{border:1px solid transparent;}"
                          "#notify-body-area:focus{border:1px dotted #1E95F6;}"
                          "#notify-title{font-weight:bold;font-size:%2px;font-family:微软雅黑;color:black;}"
                          "#notify-body{font-size:%3px;font-family:微软雅黑;color:black;}"
                          "#notify-url{font-size:%4px;font-family:微软雅黑;color:black;}")
        .arg(FrameRadius)
        .arg(titleSize)
        .arg(bodySize)
        .arg(linkSize);
}

QString msgCenterPressedSheet()
{
    return QStringLiteral("QPushButton:pressed{border:0px;border-color:white;background:rgb(255,255,255);}");
}

QString bodyAreaSheet()
{
    return QStringLiteral("background-color:white;");
}

QString linkLook()
{
    return QStringLiteral("color:%1;text-decoration:none").arg(look::LinkBlue);
}

QString scrollBarSheet(int width)
{
    return QStringLiteral("QScrollBar:vertical{background:rgba(240,240,240,0.8);width:%1px;margin:12px 0px 12px 0px;"
                          "border-radius:4px;}"
                          "QScrollBar::handle:vertical{background:#C8C8C8;border-radius:%2px;min-height:24px;}"
                          "QScrollBar::handle:vertical:hover{background:#AAAAAA;}"
                          "QScrollBar::add-line:vertical,QScrollBar::sub-line:vertical{height:0px;}"
                          "QScrollBar::add-page:vertical,QScrollBar::sub-page:vertical{background:transparent;}")
        .arg(width)
        .arg(width / 2);
}

QString emptyBadgeSheet()
{
    return QStringLiteral("QLabel{color: white;}");
}

QString badgeSheet()
{
    return QStringLiteral("QLabel{border-image: url(:/images/images/RedNum.png);color: white;}");
}

QString bodyHtml(int fontSize, const QString &content)
{
    return QStringLiteral(
               "<p style='line-height:120%;font-size:%1px;font-family:微软雅黑;white-space: pre-wrap;'>%2</p>")
        .arg(QString::number(fontSize), safehtml::reduce(content, safehtml::notice()).text);
}

// The sizes of a notice are given in pixels and not scaled.
QFont fontOf(int pixelSize)
{
    QFont font = look::yaHeiZh(pixelSize);
    font.setPixelSize(pixelSize);
    return font;
}

// From the shared pictures: a QIcon of the vector file would add a pixmap to the cache for each notice.
QIcon icon(const QString &path, const QSize &size)
{
    return QIcon(picture::load(path, size, qApp->devicePixelRatio()));
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
    setFixedSize(m_width, m_maxHeight);
    InitUi();
    connect(Compositor::instance(), &Compositor::changed, this, &NotifyWnd::updateShape);
    if (const QScreen *screen = QGuiApplication::primaryScreen())
        connect(screen, &QScreen::logicalDotsPerInchChanged, this, &NotifyWnd::DpiChanged);
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
    m_msgId = textOf(key::MsgId);
    showTitle(textOf(key::MsgTitle));
    m_body->showHtml(bodyHtml(m_bodyFontSize, textOf(key::MsgContent)));
    setLink(textOf(key::LinkText), textOf(key::LinkAdress));
    SetPicPath(textOf(key::PicFilePath));
    setAccessibleName(windowTitle() + QStringLiteral("：") + m_title->accessibleName());
    setAccessibleDescription(m_body->accessibleName());
    ResizeWnd();
}

void NotifyWnd::CreateCtrl()
{
    delete m_msgCenterButton;
    m_msgCenterButton =
        new QPushButton(icon(look::icon::MessageCenter, MsgCenterIcon), QStringLiteral("消息中心 "), m_background);
    m_msgCenterButton->setObjectName(QStringLiteral("notify-msgcenter-btn"));
    m_msgCenterButton->setFlat(true);
    m_msgCenterButton->setIconSize(MsgCenterIcon);
    m_msgCenterButton->setFont(fontOf(m_bodyFontSize));
    m_msgCenterButton->setCursor(Qt::PointingHandCursor);
    m_msgCenterButton->setFocusPolicy(Qt::TabFocus);
    m_msgCenterButton->setStyleSheet(msgCenterPressedSheet());
    const QSize hint = m_msgCenterButton->sizeHint();
    m_msgCenterButton->setFixedSize(hint.width() + BadgeSize, qMax(hint.height(), BadgeSize));
    m_msgCenterButton->move(6, 5);
    connect(m_msgCenterButton, &QPushButton::clicked, this, &NotifyWnd::MsgBtnClick);

    auto *badge = new QLabel(m_msgCenterButton);
    badge->setObjectName(QStringLiteral("notify-badge"));
    badge->setFixedSize(BadgeSize, BadgeSize);
    badge->move(m_msgCenterButton->width() - BadgeSize, (m_msgCenterButton->height() - BadgeSize) / 2);
    badge->setAttribute(Qt::WA_TransparentForMouseEvents);
    showBadge(badge);
    m_msgCenterButton->setVisible(true);
    const QWidgetList stops{m_bodyArea, m_link, m_msgCenterButton, m_closeButton};
    for (int i = 1; i < stops.size(); ++i)
        setTabOrder(stops.at(i - 1), stops.at(i));
}

void NotifyWnd::showBadge(QLabel *badge) const
{
    if (m_unreadCount < 1) {
        badge->setStyleSheet(emptyBadgeSheet());
        m_msgCenterButton->setAccessibleName(QStringLiteral("消息中心"));
        return;
    }
    const QString number = QString::number(qMin(m_unreadCount, MaxShownUnread));
    badge->setFont(fontOf(11));
    badge->setStyleSheet(badgeSheet());
    badge->setText(number);
    badge->setScaledContents(true);
    badge->setAlignment(Qt::AlignHCenter | Qt::AlignVCenter);
    badge->show();
    m_msgCenterButton->setAccessibleName(QStringLiteral("消息中心，%1条未读消息").arg(number));
    VT_LOG(info) << QStringLiteral("通知栏消息：未读数量") + number;
}

void NotifyWnd::MsgBtnClick()
{
    VT_LOG(info) << QStringLiteral("通知栏窗口打开消息中心。消息ID:%1").arg(m_msgId);
    auto input = QSharedPointer<CMessageService_InputArgs>::create();
    const auto posted =
        CManagerAccess::post(CVisualizedEvents::eShowMessageCenterDialog, std::make_unique<CMsgCenterEventData>(input));
    if (posted == CManagerAccess::Posted::Yes)
        CloseDlg();
    else // the notice stays, so that the user can try again
        VT_LOG(warning) << QStringLiteral("通知栏窗口打开消息中心失败。消息ID:%1").arg(m_msgId);
}

void NotifyWnd::OnlinkActivated(QString link)
{
    VT_LOG(info) << QStringLiteral("消息以点击-消息id:") + m_msgId;
    if (!weblink::open(link)) {
        VT_LOG(warning) << QStringLiteral("通知栏消息：链接无法打开。消息ID:%1").arg(m_msgId);
        return;
    }
    CMsgUpdTaskData task;
    task.msgIds = QStringList(m_msgId);
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
    if (m_painted)
        return;
    m_painted = true;
    emit firstPainted();
}

void NotifyWnd::paintEvent(QPaintEvent *)
{
    if (Compositor::instance()->isRunning()) {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(30, 50, 80, 14));
        for (int i = 0; i < ShadowWidth; ++i)
            painter.drawRoundedRect(rect().adjusted(i, i, -i, -i), FrameRadius + ShadowWidth - i,
                                    FrameRadius + ShadowWidth - i);
    }
    endPaintWait();
}

void NotifyWnd::showEvent(QShowEvent *e)
{
    QWidget::showEvent(e);
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
    setStyleSheet(windowSheet(m_titleFontSize, m_bodyFontSize, m_linkFontSize));
    m_background = new QFrame(this);
    m_background->setObjectName(QStringLiteral("notify-background"));
    // Screen readers take the role of a QFrame for a window, and ignore the focus inside one that is not active.
    accessible::setRole(m_background, QAccessible::Client);
    m_background->setFixedWidth(m_width - 2 * ShadowWidth);
    m_background->move(ShadowWidth, ShadowWidth);

    const int textLeft = m_sideMargin - ShadowWidth;
    m_layout = new QVBoxLayout(m_background);
    m_layout->setContentsMargins(textLeft, m_topMargin, textLeft - ScrollBarRoom, m_bottomMargin);
    m_title = new ElideLabel(m_background);
    m_title->setObjectName(QStringLiteral("notify-title"));
    m_title->setFixedWidth(m_width - 2 * m_sideMargin);
    m_title->setMaximumLines(MaxTitleLines);
    m_picture = new QLabel(m_background);
    m_picture->setObjectName(QStringLiteral("notify-picture"));
    m_bodyArea = bodyArea();
    m_link = new LinkLabel(m_background);
    m_link->setObjectName(QStringLiteral("notify-url"));
    connect(m_link, &QLabel::linkActivated, this, &NotifyWnd::OnlinkActivated);
    for (QWidget *row : {static_cast<QWidget *>(m_title), static_cast<QWidget *>(m_bodyArea),
                         static_cast<QWidget *>(m_picture), static_cast<QWidget *>(m_link)})
        m_layout->addWidget(row, 0, Qt::AlignLeft | Qt::AlignTop);
    m_layout->addStretch();
    m_closeButton = closeButton();
}

QScrollArea *NotifyWnd::bodyArea()
{
    auto *area = new QScrollArea(m_background);
    area->setFrameShape(QFrame::NoFrame);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setFocusPolicy(Qt::NoFocus);
    area->setStyleSheet(bodyAreaSheet());
    area->setFixedWidth(m_width - 2 * m_sideMargin + ScrollBarRoom);
    removeScrollBarMenus(area);
    m_body = new RichTextLabel(m_width - 2 * m_sideMargin, m_bodyPictureHeight, area);
    m_body->setObjectName(QStringLiteral("notify-body"));
    connect(m_body, &RichTextLabel::heightChanged, this, &NotifyWnd::grow);
    area->setWidget(m_body);
    return area;
}

// The bar's sheet takes time that short notices need not spend.
void NotifyWnd::makeBodyScroll()
{
    if (m_bodyArea->focusPolicy() != Qt::NoFocus)
        return;
    m_bodyArea->setFocusPolicy(Qt::TabFocus); // the arrow keys scroll it
    m_bodyArea->setObjectName(QStringLiteral("notify-body-area"));
    m_bodyArea->setStyleSheet(bodyAreaSheet()); // again: the window's rules for the new name apply now
    m_bodyArea->verticalScrollBar()->setStyleSheet(scrollBarSheet(8));
}

QPushButton *NotifyWnd::closeButton()
{
    auto *button = new QPushButton(icon(look::icon::CloseNotice, CloseIcon), QString(), m_background);
    button->setObjectName(QStringLiteral("notify-close-btn"));
    button->setAccessibleName(QStringLiteral("关闭"));
    button->setFlat(true);
    button->setFixedSize(24, 24);
    button->setIconSize(CloseIcon);
    button->setCursor(Qt::PointingHandCursor);
    button->setFocusPolicy(Qt::TabFocus);
    connect(button, &QPushButton::clicked, this, &NotifyWnd::CloseDlg);
    return button;
}

void NotifyWnd::AdjustSizeByScreen()
{
    m_sideMargin = 40;
    m_topMargin = 35;
    m_bottomMargin = 20;
    m_pictureHeight = 150;
    m_bodyPictureHeight = 250;
    m_maxHeight = 400;
    m_width = 400;
    m_titleFontSize = 15;
    m_bodyFontSize = 12;
    m_linkFontSize = 12;
}

void NotifyWnd::SetPicPath(const QString &path)
{
    m_picturePath = path;
    m_picture->hide();
    if (path.isEmpty())
        return;
    const QSize box(m_width - 2 * m_sideMargin, m_pictureHeight);
    picture::readLater(this, path, box, devicePixelRatioF(), [this, path](const QImage &image) {
        if (path == m_picturePath)
            showPicture(image);
    });
}

void NotifyWnd::showPicture(const QImage &image)
{
    if (image.isNull()) {
        VT_LOG(warning) << QStringLiteral("通知栏消息：图片无法显示。消息ID:%1").arg(m_msgId);
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
    const int rows =
        qMin(GetRowsByLabelText(metrics, text::beginning(title, MaxCountedChars), m_title->width()), MaxTitleLines);
    m_title->setFixedHeight(qMax(shownRows * metrics.lineSpacing(), rows * metrics.height()));
}

void NotifyWnd::setLink(const QString &text, const QString &address)
{
    const QString shown = text::elided((text.isEmpty() ? address : text).simplified(), fontOf(m_linkFontSize),
                                       m_width - 2 * m_sideMargin);
    m_link->setVisible(!shown.isEmpty());
    m_link->showLink(shown, address, linkLook());
    m_link->setAccessibleName(shown);
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
    m_layout->setSpacing(GapSum / (1 + int(hasPicture) + int(hasLink)));
    if (hasLink) {
        m_link->ensurePolished();
        m_link->setFixedSize(m_link->sizeHint().width() + m_sideMargin, m_link->sizeHint().height());
    }
    if (hasPicture)
        m_picture->setFixedSize(m_picture->sizeHint());
    const int others = m_title->height() + (hasLink ? m_link->height() : 0) + (hasPicture ? m_picture->height() : 0) +
                       m_topMargin + m_bottomMargin + HeightExtra;
    const int bodyRoom = m_maxHeight - others;
    const bool scrolls = m_body->height() > bodyRoom;
    if (scrolls)
        makeBodyScroll();
    m_bodyArea->setFixedHeight(scrolls ? m_body->heightOfWholeLines(bodyRoom - FocusBorders) + FocusBorders
                                       : m_body->height());
    setFixedHeight(qMin(others + m_body->height(), m_maxHeight));
    m_background->setFixedHeight(height() - 2 * ShadowWidth);
    m_closeButton->move(m_background->width() - m_closeButton->width() - 5, 5);
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

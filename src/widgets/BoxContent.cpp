#include "widgets/BoxContent.h"
#include "base/Log.h"
#include "widgets/AccessibleRole.h"
#include "widgets/BringToFront.h"
#include "widgets/CustomBtn.h"
#include "widgets/CustomTitleBar.h"
#include "widgets/Look.h"
#include "widgets/Picture.h"
#include "widgets/Placement.h"
#include "widgets/SafeHtml.h"
#include "widgets/ShownText.h"
#include "widgets/TextMenu.h"
#include "widgets/Toolkit.h"
#include "widgets/WebLink.h"
#include <QAccessible>
#include <QApplication>
#include <QDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QScreen>
#include <QScrollArea>

using ServiceVisualized::CToolkit;

namespace tarn::visualized {
namespace {

// Metrics (design pixels at 96 DPI)
constexpr int BoxWidth = 360;
constexpr int Margin = 24;
constexpr int Gap = 16;
constexpr QSize IconSize(40, 40);
constexpr int TextPx = 14;
constexpr int ScrollBarWidth = 6;

constexpr int MostMeasured = 499;
constexpr int TallText = 500;
constexpr int TallBox = 660;
constexpr int Edge = 1; // pixel

// Look
QString boxSheet(const QWidget *box)
{
    return QStringLiteral("#%1{border:none;background-color:white;}").arg(box->objectName()) +
           look::titleBand(look::BandGrey) + look::greyButton() + look::blueButton() +
           QStringLiteral("#messageArea,#messageArea>QWidget>QWidget{border:none;background-color:transparent;}"
                          "#messageIcon,#buttonBand,#titleLogo,#titleText{border:none;background-color:transparent;}"
                          "#messageText{color:%1;}"
                          "#messageText:focus,#messageArea:focus{border:1px dotted %2;}")
               .arg(look::TextDark, look::Blue) +
           look::thinScrollBars(QStringLiteral("#messageArea"), ScrollBarWidth, QStringLiteral("white"),
                                QStringLiteral("#C9CFD6"), box);
}

QLabel *textLabel(const QString &text, QWidget *parent)
{
    const safehtml::Reduced shown = safehtml::reduce(text, safehtml::box());
    auto *label = new QLabel(parent);
    label->setObjectName(QStringLiteral("messageText"));
    label->setFont(look::yaHei(TextPx, QFont::Normal, parent));
    label->setTextFormat(shown.isRich ? Qt::RichText : Qt::PlainText);
    label->setWordWrap(true);
    label->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    label->setContextMenuPolicy(Qt::PreventContextMenu);
    if (shown.hasLink)
        label->setTextInteractionFlags(Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard);
    label->setText(shown.text);
    label->setAccessibleName(safehtml::words(text, safehtml::box().maxChars));
    return label;
}

} // namespace

// A frameless scroll area that would like to show its whole text, so that the box grows with it.
class BoxContent::TextArea final : public QScrollArea
{
public:
    explicit TextArea(QWidget *parent)
        : QScrollArea(parent)
    {
        setObjectName(QStringLiteral("messageArea"));
        setFrameShape(QFrame::NoFrame);
        setWidgetResizable(true);
        setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        setFocusPolicy(Qt::NoFocus);
        removeScrollBarMenus(this);
    }
    QSize sizeHint() const override
    {
        return QSize(minimumWidth(), qBound(minimumHeight(), textHeight(), look::scaled(TallText, this)));
    }
    // Measured once, since layouts ask several times, and beside a scroll bar: otherwise a bar that was visible for a
    // moment would keep itself visible.
    int textHeight() const
    {
        if (m_textHeight < 0 && widget())
            m_textHeight = widget()->heightForWidth(minimumWidth() - look::scaled(ScrollBarWidth, this));
        return m_textHeight;
    }

private:
    mutable int m_textHeight = -1;
};

BoxContent::BoxContent(QDialog *box, const QString &title, const QString &icon, const QString &iconName,
                       const QString &text)
    : QObject(box)
    , m_box(box)
    , m_drag(box)
{
    look::prepareWindow(box, title);
    // Under a parent with a style sheet, children that are already polished take the box's own sheet only if the box has
    // been polished before.
    box->ensurePolished();
    box->setWindowFlags(Qt::Dialog | Qt::FramelessWindowHint);
    box->setWindowIcon(picture::windowIcon(look::icon::Window));
    box->setFixedWidth(look::scaled(BoxWidth, box));
    m_column = new QVBoxLayout(box);
    m_column->setContentsMargins(Edge, Edge, Edge, Edge);
    m_column->setSpacing(0);
    addText(icon, iconName, text);

    auto *band = new QWidget(box);
    band->setObjectName(QStringLiteral("buttonBand"));
    band->setFixedHeight(look::scaled(64, box));
    m_buttons = new QHBoxLayout(band);
    look::space(m_buttons, {Margin, 0, Margin, Gap}, Gap, box);
    m_column->addWidget(band);
    accessible::setRole(box, QAccessible::AlertMessage);
    box->installEventFilter(this);
}

void BoxContent::addText(const QString &icon, const QString &iconName, const QString &text)
{
    auto *row = new QHBoxLayout;
    look::space(row, {Margin, Gap, Gap, Gap}, Gap, m_box);
    auto *image = new QLabel(m_box);
    image->setObjectName(QStringLiteral("messageIcon"));
    image->setAccessibleName(iconName);
    image->setFixedSize(look::scaled(IconSize, m_box));
    CToolkit::SetLabelIconPicture(image, icon, image->size());
    row->addWidget(image);

    m_area = new TextArea(m_box);
    m_area->setMinimumWidth(look::scaled(BoxWidth - Margin - IconSize.width() - 2 * Gap, m_box) - 2 * Edge);
    QLabel *label = textLabel(text, m_box);
    connect(label, &QLabel::linkActivated, this, &BoxContent::openLink);
    m_area->setWidget(label);
    m_area->viewport()->setAutoFillBackground(false); // a sheet's rule for them would be matched against every widget
    label->setAutoFillBackground(false);
    applyHeight(text);
    row->addWidget(m_area, 1);
    if (m_area->sizeHint().height() > look::scaled(3 * IconSize.height(), m_box))
        row->setAlignment(image, Qt::AlignTop);
    m_column->addLayout(row, 1);
}

// The height is measured at 96 DPI, where its thresholds belong, and then scaled like every design size.
void BoxContent::applyHeight(const QString &text)
{
    QFont design = m_area->widget()->font();
    design.setPixelSize(TextPx);
    const QString shown = text::beginning(text, safehtml::box().maxChars);
    const int measured = measuredBoxHeight(shown, QFontMetrics(design), MostMeasured);
    if (measured <= MostMeasured) {
        m_area->setMinimumHeight(look::scaled(measured, m_box));
        return;
    }
    int width = BoxWidth;
    int height = TallBox;
    CToolkit::UpdateWidthAndHeight(m_box, width, height); // a small screen has less than the design asks for
    const int others = look::scaled(TallBox - TallText, m_box);
    m_area->setMinimumHeight(qMin(look::scaled(TallText, m_box), qMax(0, height - others)));
    m_box->setFixedHeight(height);
}

CCustomBtn *BoxContent::addButton(const QString &text, const QString &objectName, bool confirming)
{
    QWidget *band = m_buttons->parentWidget();
    auto *button = new CCustomBtn(text, confirming ? CCustomBtn::Blue : CCustomBtn::Grey, band);
    button->setObjectName(objectName);
    button->setFont(look::yaHei(TextPx, QFont::Normal, band));
    button->setMinimumWidth(look::scaled(80, band));
    button->setFixedHeight(look::scaled(40, band));
    if (!m_first) {
        m_first = button;
        m_buttons->addStretch(1);
    }
    m_buttons->addWidget(button);
    return button;
}

const CustomTitleBar *BoxContent::finish()
{
    auto *bar = new CustomTitleBar(m_box);
    bar->setFixedHeight(look::scaled(look::TitleHeight, m_box));
    bar->SetTitleLogo(look::icon::Window);
    bar->SetTitleText(m_box->windowTitle());
    bar->addStretch(1);
    bar->AddCloseButton();
    m_column->insertWidget(0, bar);
    // Set last: whatever has been asked for its size before keeps the size without the sheet.
    m_box->setStyleSheet(boxSheet(m_box));
    if (m_buttons->count() == 2)
        m_buttons->addStretch(1); // a single button is in the middle
    // Left to itself a dialog takes two thirds of the screen at most and cuts the text on a small one.
    int height = m_column->sizeHint().height();
    if (const QScreen *screen = placement::screenOf(m_box))
        height = qMin(height, screen->availableGeometry().height());
    m_box->resize(m_box->width(), height);
    m_column->activate();
    if (m_area->textHeight() > m_area->height())
        m_area->setFocusPolicy(Qt::StrongFocus); // scrolled by keyboard
    front::neutralFocus(m_box);
    return bar;
}

void BoxContent::setOrigin(eBoxOrigin origin)
{
    const bool asked = origin == eBoxOrigin::AskedFor;
    m_first->setDefault(asked);
    if (asked)
        m_first->setFocus(Qt::OtherFocusReason);
    else
        front::neutralFocus(m_box);
}

void BoxContent::openLink(const QString &link)
{
    emit linkFollowed(link);
    if (!weblink::open(link))
        VT_LOG(warning) << QStringLiteral("【消息框】打开链接失败：%1").arg(link);
}

bool BoxContent::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_box && event->type() == QEvent::Show && !event->spontaneous()) {
        centreOverParent(m_box);
        accessible::announce(m_box);
    } else if (watched == m_box && event->type() == QEvent::Paint) {
        QPainter painter(m_box);
        painter.setPen(QColor(look::FrameGrey));
        painter.drawRect(m_box->rect().adjusted(0, 0, -Edge, -Edge));
    }
    return QObject::eventFilter(watched, event);
}

int measuredBoxHeight(const QString &text, const QFontMetrics &metrics, int limit)
{
    const QString lineEnd = QStringLiteral("\r\n");
    int lines = 2;
    int from = 0;
    for (int end = text.indexOf(lineEnd); end >= 0 && lines * metrics.lineSpacing() <= limit;
         end = text.indexOf(lineEnd, from)) {
        const int width = metrics.boundingRect(text.mid(from, end - from)).width();
        lines += 1 + (width > 225 ? width / 220 : 0);
        from = end + lineEnd.size();
    }
    return lines * metrics.lineSpacing();
}

void centreOverParent(QDialog *box)
{
    const QWidget *parent = box->parentWidget() ? box->parentWidget()->window() : QApplication::activeWindow();
    QRect area;
    if (parent && parent != box)
        area = parent->geometry();
    else if (const QScreen *screen = QGuiApplication::primaryScreen())
        area = screen->availableGeometry();
    box->move(area.x() + (area.width() - box->width()) / 2, area.y() + (area.height() - box->height()) / 2);
    placement::keepOnScreen(box);
}

} // namespace tarn::visualized

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

QLabel *textLabel(const QString &text, QWidget *box)
{
    const safehtml::Reduced shown = safehtml::reduce(text, safehtml::box());
    auto *label = look::named(new QLabel(box), "messageText", TextPx);
    label->setTextFormat(shown.isRich ? Qt::RichText : Qt::PlainText);
    label->setWordWrap(true);
    label->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    label->setContextMenuPolicy(Qt::PreventContextMenu);
    if (shown.hasLink)
        label->setTextInteractionFlags(Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard);
    label->setText(shown.hasLink ? QStringLiteral("<style>%1</style>").arg(look::linkRule()) + shown.text : shown.text);
    label->setAccessibleName(safehtml::words(text, safehtml::box().maxChars));
    return label;
}

QLabel *iconLabel(const QPair<QString, QString> &icon, QWidget *box)
{
    auto *label = look::named(new QLabel(box), "messageIcon");
    label->setAccessibleName(icon.second);
    label->setFixedSize(look::scaled(IconSize, box));
    CToolkit::SetLabelIconPicture(label, icon.first, label->size());
    return label;
}

// A frameless scroll area that would like to show its whole text, so that the box grows with it.
class TextArea final : public QScrollArea
{
public:
    TextArea(const QString &text, QLabel *label, QDialog *box)
        : QScrollArea(box)
    {
        setObjectName(QStringLiteral("messageArea"));
        setFrameShape(QFrame::NoFrame);
        setWidgetResizable(true);
        setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        setFocusPolicy(Qt::NoFocus);
        removeScrollBarMenus(this);
        setMinimumWidth(look::scaled(BoxWidth - Margin - IconSize.width() - 2 * Gap, box) - 2 * Edge);
        setWidget(label);
        viewport()->setAutoFillBackground(false); // a sheet's rule for them would be matched against every widget
        label->setAutoFillBackground(false);
        applyHeight(text, box);
    }
    QSize sizeHint() const override
    {
        return QSize(minimumWidth(), qBound(minimumHeight(), textHeight(), look::scaled(TallText, this)));
    }
    // Measured once, since layouts ask several times, and beside a scroll bar: otherwise a bar that was visible for a
    // moment would keep itself visible.
    int textHeight() const
    {
        if (m_textHeight < 0)
            m_textHeight = widget()->heightForWidth(minimumWidth() - look::scaled(ScrollBarWidth, this));
        return m_textHeight;
    }

private:
    // The height is measured at 96 DPI, where its thresholds belong, and then scaled like every design size.
    void applyHeight(const QString &text, QDialog *box)
    {
        QFont design = widget()->font();
        design.setPixelSize(TextPx);
        const QString shown = text::beginning(text, safehtml::box().maxChars);
        const int measured = measuredBoxHeight(shown, QFontMetrics(design), MostMeasured);
        if (measured <= MostMeasured)
            return setMinimumHeight(look::scaled(measured, box));
        int width = BoxWidth;
        int height = TallBox;
        CToolkit::UpdateWidthAndHeight(box, width, height); // a small screen has less than the design asks for
        const int others = look::scaled(TallBox - TallText, box);
        setMinimumHeight(qMin(look::scaled(TallText, box), qMax(0, height - others)));
        box->setFixedHeight(height);
    }

    mutable int m_textHeight = -1;
};

} // namespace

BoxContent::BoxContent(QDialog *box, const QString &title, const QPair<QString, QString> &icon, const QString &text,
                       const QStringList &buttons)
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
    QLabel *image = iconLabel(icon, box);
    QLabel *label = textLabel(text, box);
    connect(label, &QLabel::linkActivated, this, &BoxContent::openLink);
    auto *area = new TextArea(text, label, box);
    auto *row = look::space(new QHBoxLayout, {Margin, Gap, Gap, Gap}, Gap, box);
    row->addWidget(image);
    row->addWidget(area, 1);
    if (area->sizeHint().height() > look::scaled(3 * IconSize.height(), box))
        row->setAlignment(image, Qt::AlignTop);
    auto *column = new QVBoxLayout(box);
    column->setContentsMargins(Edge, Edge, Edge, Edge);
    column->setSpacing(0);
    column->addLayout(row, 1);
    column->addWidget(buttonBand(buttons));
    m_titleBar = CustomTitleBar::addOnTop(column, look::TitleHeight);
    m_titleBar->SetTitleLogo(look::icon::Window);
    // Set last: whatever has been asked for its size before keeps the size without the sheet.
    box->setStyleSheet(boxSheet(box));

    // Left to itself a dialog takes two thirds of the screen at most and cuts the text on a small one.
    box->resize(box->width(), qMin(column->sizeHint().height(), placement::availableFor(box).height()));
    column->activate();
    if (area->textHeight() > area->height()) {
        area->setFocusPolicy(Qt::StrongFocus); // scrolled by keyboard
        area->setAccessibleName(QStringLiteral("提示内容"));
    }
    front::neutralFocus(box);
    accessible::setRole(box, QAccessible::AlertMessage);
    box->installEventFilter(this);
}

QWidget *BoxContent::buttonBand(const QStringList &texts)
{
    auto *band = look::named(new QWidget(m_box), "buttonBand");
    band->setFixedHeight(look::scaled(64, m_box));
    auto *row = look::space(new QHBoxLayout(band), {Margin, 0, Margin, Gap}, Gap, m_box);
    row->addStretch(1);
    for (const QString &text : texts) {
        const bool isFirst = m_buttons.isEmpty();
        auto *button = new CCustomBtn(text, isFirst ? CCustomBtn::Blue : CCustomBtn::Grey, band);
        look::named(button, isFirst ? "okButton" : "cancelButton", TextPx);
        button->setMinimumWidth(look::scaled(80, band));
        button->setFixedHeight(look::scaled(40, band));
        row->addWidget(button);
        m_buttons.append(button);
    }
    if (texts.size() == 1)
        row->addStretch(1); // a single button is in the middle
    return band;
}

void BoxContent::setOrigin(eBoxOrigin origin)
{
    const bool asked = origin == eBoxOrigin::AskedFor;
    button(0)->setDefault(asked);
    if (asked)
        button(0)->setFocus(Qt::OtherFocusReason);
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
    const QRect area = parent && parent != box ? parent->geometry() : placement::availableFor(nullptr);
    const QPoint corner(area.x() + (area.width() - box->width()) / 2, area.y() + (area.height() - box->height()) / 2);
    placement::placeOnScreen(box, QRect(corner, box->size()));
}

} // namespace tarn::visualized

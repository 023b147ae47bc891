#include "widgets/MessageBody.h"
#include "base/Log.h"
#include "widgets/CustomBtn.h"
#include "widgets/CustomTitleBar.h"
#include "widgets/Look.h"
#include "widgets/MessageText.h"
#include "widgets/Picture.h"
#include "widgets/Placement.h"
#include "widgets/Toolkit.h"
#include "widgets/WebLink.h"
#include <QDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QScreen>
#include <QScrollArea>
#include <QUrl>

using ServiceVisualized::CToolkit;

namespace messagebody {
namespace {

// Metrics (design pixels at 96 DPI)
constexpr int BoxWidth = 360;
constexpr int TitleHeight = 35;
constexpr int Margin = 24;
constexpr int Gap = 16;
constexpr int IconSide = 40;
constexpr int TextPx = 14;
constexpr int ScrollBarWidth = 6;
constexpr int BandHeight = 64;
constexpr int ButtonWidth = 80;
constexpr int ButtonHeight = 40;
constexpr int MostMeasured = 499;
constexpr int TallText = 500;
constexpr int TallBox = 660;

// A frameless scroll area that would like to show its whole text, so that the box grows with it.
class TextArea final : public QScrollArea
{
public:
    explicit TextArea(QWidget *parent)
        : QScrollArea(parent)
    {
    }
    QSize sizeHint() const override
    {
        return QSize(minimumWidth(), qBound(minimumHeight(), textHeight(), look::scaled(TallText, this)));
    }

private:
    int textHeight() const
    {
        // Measured beside a scroll bar: one that was up for a moment would otherwise keep itself up. And once: layouts
        // ask several times, and breaking the lines is what costs.
        if (m_textHeight < 0 && widget())
            m_textHeight = widget()->heightForWidth(minimumWidth() - look::scaled(ScrollBarWidth, this));
        return m_textHeight;
    }
    mutable int m_textHeight = -1;
};

QLabel *makeLabel(const QString &text, QWidget *parent)
{
    const messagetext::Shown shown = messagetext::shown(text);
    auto *label = new QLabel(parent);
    label->setObjectName(QStringLiteral("messageText"));
    label->setFont(look::yaHei(TextPx, QFont::Normal, parent));
    label->setTextFormat(shown.rich ? Qt::RichText : Qt::PlainText);
    label->setWordWrap(true);
    label->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    label->setContextMenuPolicy(Qt::NoContextMenu);
    if (shown.hasLink)
        label->setTextInteractionFlags(Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard);
    label->setText(shown.text);
    label->setAccessibleName(messagetext::spoken(text));
    return label;
}

// The height is measured at 96 DPI, where its thresholds belong, and then scaled like every design size.
void applyHeight(QDialog *box, QScrollArea *area, const QString &text)
{
    QFont design = area->widget()->font();
    design.setPixelSize(TextPx);
    const int measured = messagetext::measuredHeight(text, QFontMetrics(design));
    if (measured <= MostMeasured) {
        area->setMinimumHeight(look::scaled(measured, box));
        return;
    }
    int width = BoxWidth;
    int height = TallBox;
    CToolkit::UpdateWidthAndHeight(box, width, height); // a small screen has less than the design asks for
    const int others = look::scaled(TallBox - TallText, box);
    area->setMinimumHeight(qMin(look::scaled(TallText, box), qMax(0, height - others)));
    box->setFixedHeight(height);
}

} // namespace

QString sheet(const QWidget *box)
{
    return look::titleBand(look::BandGrey) + look::greyButton() + look::blueButton() +
           QStringLiteral("#messageArea,#messageArea>QWidget>QWidget{border:none;background-color:transparent;}"
                          "#messageIcon,#buttonBand,#titleLogo,#titleText{border:none;background-color:transparent;}"
                          "#messageText{color:#454D5A;}"
                          "#messageText:focus,#messageArea:focus{border:1px dotted #379AF5;}") +
           look::thinScrollBars(QStringLiteral("#messageArea"), ScrollBarWidth, QStringLiteral("white"),
                                QStringLiteral("#C9CFD6"), box);
}

QVBoxLayout *makeColumn(QDialog *box, const QString &title)
{
    look::prepareWindow(box, title);
    // Under a parent with a style sheet the box's own one is applied to children that are already polished only if the
    // box itself is.
    box->ensurePolished();
    box->setWindowFlags(Qt::Dialog | Qt::FramelessWindowHint);
    box->setWindowIcon(picture::windowIcon(QStringLiteral(":/images/images/VtSoftMgr.ico")));
    box->setFixedWidth(look::scaled(BoxWidth, box));
    auto *column = new QVBoxLayout(box);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    return column;
}

CustomTitleBar *addTitleBar(QDialog *box, const QString &title)
{
    auto *bar = new CustomTitleBar(box);
    bar->setFixedHeight(look::scaled(TitleHeight, box));
    bar->SetTitleLogo(QStringLiteral(":/images/images/VtSoftMgr.ico"));
    bar->SetTitleText(title);
    bar->addStretch(1);
    bar->AddCloseButton();
    static_cast<QVBoxLayout *>(box->layout())->insertWidget(0, bar);
    return bar;
}

QLabel *addText(QDialog *box, const QString &icon, const QString &iconName, const QString &text)
{
    auto *row = new QHBoxLayout;
    const int margin = look::scaled(Margin, box);
    const int gap = look::scaled(Gap, box);
    row->setContentsMargins(margin, gap, gap, gap);
    row->setSpacing(gap);

    auto *picture = new QLabel(box);
    picture->setObjectName(QStringLiteral("messageIcon"));
    picture->setAccessibleName(iconName);
    picture->setFixedSize(look::scaled(IconSide, box), look::scaled(IconSide, box));
    CToolkit::SetLabelIconPicture(picture, icon, picture->size());
    row->addWidget(picture);

    auto *area = new TextArea(box);
    area->setObjectName(QStringLiteral("messageArea"));
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(true);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setFocusPolicy(Qt::NoFocus);
    area->setMinimumWidth(look::scaled(BoxWidth - Margin - IconSide - 2 * Gap, box));
    QLabel *label = makeLabel(text, box);
    area->setWidget(label);
    area->viewport()->setAutoFillBackground(false); // by a rule for them, every widget would be looked at
    label->setAutoFillBackground(false);
    applyHeight(box, area, text);
    row->addWidget(area, 1);
    if (area->sizeHint().height() > look::scaled(3 * IconSide, box))
        row->setAlignment(picture, Qt::AlignTop);
    static_cast<QVBoxLayout *>(box->layout())->addLayout(row, 1);
    return label;
}

QWidget *addButtonBand(QDialog *box)
{
    auto *band = new QWidget(box);
    band->setObjectName(QStringLiteral("buttonBand"));
    band->setFixedHeight(look::scaled(BandHeight, box));
    auto *row = new QHBoxLayout(band);
    const int margin = look::scaled(Margin, box);
    row->setContentsMargins(margin, 0, margin, look::scaled(Gap, box));
    row->setSpacing(look::scaled(Gap, box));
    row->addStretch(1);
    box->layout()->addWidget(band);
    return band;
}

CCustomBtn *addButton(QWidget *band, const QString &text, bool confirming)
{
    auto *button = new CCustomBtn(text, confirming ? CCustomBtn::Blue : CCustomBtn::Grey, band);
    button->setFont(look::yaHei(TextPx, QFont::Normal, band));
    button->setMinimumWidth(look::scaled(ButtonWidth, band));
    button->setFixedHeight(look::scaled(ButtonHeight, band));
    band->layout()->addWidget(button);
    return button;
}

void finish(QDialog *box)
{
    // Left to itself a dialog takes two thirds of the screen at most and cuts the text on a small one.
    int height = box->layout()->sizeHint().height();
    if (const QScreen *screen = placement::screenOf(box))
        height = qMin(height, screen->availableGeometry().height());
    box->resize(box->width(), height);
}

// Texts come from services too, which have no business with the programs that other schemes start.
void openLink(const QString &link)
{
    const bool mail = QUrl(link).scheme() == QLatin1String("mailto");
    if (!(mail || weblink::isPage(link)) || !weblink::open(link))
        VT_LOG(warning) << QStringLiteral("【消息框】打开链接失败：%1").arg(link);
}

} // namespace messagebody

#include "message/LinkLabel.h"

#include "widgets/WebLink.h"

#include <QFocusEvent>
#include <QUrl>

namespace tarn::visualized {

LinkLabel::LinkLabel(QWidget *parent)
    : QLabel(parent)
{
    setContextMenuPolicy(Qt::PreventContextMenu);
    setFocusPolicy(Qt::StrongFocus); // setTabOrder() passes over any other; showLink() takes it from plain text
}

void LinkLabel::showLink(const QString &text, const QString &address, const QString &look)
{
    const bool isLink = !weblink::target(address).isEmpty();
    setTextFormat(isLink ? Qt::RichText : Qt::PlainText);
    setTextInteractionFlags(isLink ? Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard
                                   : Qt::NoTextInteraction);
    setText(isLink ? QStringLiteral("<a href=\"%1\" style=\"%2\">%3</a>")
                         .arg(address.toHtmlEscaped(), look,
                              text.toHtmlEscaped().replace(QLatin1Char('\n'), QStringLiteral("<br>")))
                   : text);
}

// On the way back QLabel finds its only link again, and the focus would never leave.
bool LinkLabel::focusNextPrevChild(bool next)
{
    return hasSelectedText() ? QFrame::focusNextPrevChild(next) : QLabel::focusNextPrevChild(next);
}

// The label itself would be a stop before its link.
void LinkLabel::focusInEvent(QFocusEvent *event)
{
    QLabel::focusInEvent(event);
    if (event->reason() == Qt::TabFocusReason || event->reason() == Qt::BacktabFocusReason)
        focusNextPrevChild(event->reason() == Qt::TabFocusReason);
}

// A label with markup that is laid out while it is painted asks to be painted again.
void LinkLabel::resizeEvent(QResizeEvent *event)
{
    QLabel::resizeEvent(event);
    heightForWidth(width());
}

} // namespace tarn::visualized

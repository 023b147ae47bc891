#include "widgets/CustomLineEdit.h"
#include "widgets/Look.h"
#include <QClipboard>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QMimeData>

using namespace tarn::visualized;

namespace {

// The hint makes clipboard managers leave the text out of their history.
void putSecret(const QString &text, QClipboard::Mode mode)
{
    auto *data = new QMimeData;
    data->setText(text);
    data->setData(QStringLiteral("x-kde-passwordManagerHint"), QByteArrayLiteral("secret"));
    QGuiApplication::clipboard()->setMimeData(data, mode);
}

} // namespace

CCustomLineEdit::CCustomLineEdit(QWidget *parent)
    : QLineEdit(parent)
{
    setFont(look::yaHei(12, QFont::Normal, this));
    setPalette(look::palette());
    setContextMenuPolicy(Qt::CustomContextMenu);
    connect(this, &QWidget::customContextMenuRequested, this, &CCustomLineEdit::OnShowContextMenu);
}

void CCustomLineEdit::setPasswordField(bool password)
{
    m_password = password;
    setEchoMode(password ? Password : Normal);
}

QMenu *CCustomLineEdit::CreateRightClickMenu()
{
    QMenu *menu = look::newMenu(this);
    const auto add = [this, menu](const QString &text, const char *keys, bool enabled, auto slot) {
        QAction *action = menu->addAction(text, this, slot, QKeySequence(QLatin1String(keys)));
        action->setShortcutContext(Qt::WidgetShortcut); // shown only: the line edit handles these keys itself
        action->setShortcutVisibleInContextMenu(true);
        action->setEnabled(enabled);
    };
    const bool writable = isEnabled() && !isReadOnly();
    const bool pastes = writable && !QGuiApplication::clipboard()->text().isEmpty();
    add(QStringLiteral("复制(&C)"), "Ctrl+C", canCopy(), &CCustomLineEdit::OnCopyClicked);
    add(QStringLiteral("剪切(&T)"), "Ctrl+X", canCopy() && writable, &CCustomLineEdit::OnCutClicked);
    add(QStringLiteral("粘贴(&P)"), "Ctrl+V", pastes, &CCustomLineEdit::OnPasteClicked);
    add(QStringLiteral("全选(&A)"), "Ctrl+A", !text().isEmpty(), &CCustomLineEdit::OnSelAllClicked);
    return menu;
}

void CCustomLineEdit::OnShowContextMenu(const QPoint &position)
{
    QMenu *menu = CreateRightClickMenu();
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->popup(mapToGlobal(position));
}

void CCustomLineEdit::OnCopyClicked(bool)
{
    if (!canCopy())
        return;
    if (m_password)
        putSecret(selectedText(), QClipboard::Clipboard);
    else
        copy();
}

// The base would delete the masked text without putting it anywhere.
void CCustomLineEdit::OnCutClicked(bool)
{
    if (!canCopy() || isReadOnly())
        return;
    OnCopyClicked(false);
    del();
}

void CCustomLineEdit::OnPasteClicked(bool)
{
    if (!isReadOnly()) // paste() itself does not ask
        paste();
}

void CCustomLineEdit::keyPressEvent(QKeyEvent *event)
{
    if (event->matches(QKeySequence::Copy))
        OnCopyClicked(false);
    else if (event->matches(QKeySequence::Cut))
        OnCutClicked(false);
    else if (m_password && event->matches(QKeySequence::DeleteEndOfLine))
        deleteSilently(cursorPosition());
    else if (m_password && event->matches(QKeySequence::DeleteCompleteLine))
        deleteSilently(0);
    else
        QLineEdit::keyPressEvent(event);
}

// The base class would put the deleted text on the clipboard, unmarked.
void CCustomLineEdit::deleteSilently(int from)
{
    if (isReadOnly())
        return;
    setSelection(from, text().size() - from);
    del();
}

// The base has just put the selection where the middle button pastes from.
void CCustomLineEdit::mouseReleaseEvent(QMouseEvent *event)
{
    QLineEdit::mouseReleaseEvent(event);
    if (m_password && canCopy() && QGuiApplication::clipboard()->supportsSelection())
        putSecret(selectedText(), QClipboard::Selection);
}

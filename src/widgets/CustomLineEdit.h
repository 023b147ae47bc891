#pragma once

#include <QLineEdit>

class QMenu;

/// Line edit with a context menu in the product's language. A masked text can neither be copied nor cut; a text copied
/// from an unmasked password field is marked for clipboard managers as secret. GUI thread.
class CCustomLineEdit : public QLineEdit
{
    Q_OBJECT
public:
    explicit CCustomLineEdit(QWidget *parent = nullptr);

    /// Masks the text now and remembers that it is a password also while setEchoMode() shows it.
    void setPasswordField(bool password);
    /// A new menu with the four actions; the caller owns it.
    QMenu *CreateRightClickMenu();
    void OnShowContextMenu(const QPoint &position);
    void OnCopyClicked(bool checked);
    void OnCutClicked(bool checked);
    void OnPasteClicked(bool checked);
    void OnSelAllClicked(bool) { selectAll(); }

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;

private:
    bool canCopy() const { return echoMode() == Normal && hasSelectedText(); }
    void deleteSilently(int from);

    bool m_password = false;
};

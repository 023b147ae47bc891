#pragma once

#include "widgets/CustomLineEdit.h"
#include <QRegExp>

class QLabel;
class QMenu;
class QPushButton;

/// A line edit with an icon in front and a picture button behind it, in one frame. GUI thread.
class CIconEditWidget : public QWidget
{
    Q_OBJECT
public:
    explicit CIconEditWidget(QWidget *parent = nullptr);

    /// A rule for the sheet of its window: the edit's ground is not to be the host's.
    static QString sheet()
    {
        return QStringLiteral("CIconEditWidget QLineEdit{background-color:white;border:none;padding:0px;}");
    }
    CCustomLineEdit *lineEdit() const { return m_edit; }

    /// @param path resource or image file; empty takes the icon away
    void setPrefixIcon(const QString &path);
    void setSuffixIconPath(const QString &path);
    /// Name of the suffix button for screen readers and the tool tip.
    void setSuffixName(const QString &name);
    void setLineEditMaxLength(int length) { m_edit->setMaxLength(qMax(0, length)); }
    /// The text must match as a whole; an empty or invalid expression lifts the restriction.
    void setLineEditRegExp(const QRegExp &expression);

    // The context menu and its actions are those of the line edit.
    QMenu *CreateRightClickMenu() { return m_edit->CreateRightClickMenu(); }
    void OnShowContextMenu(const QPoint &position) { m_edit->OnShowContextMenu(m_edit->mapFrom(this, position)); }
    void OnCopyClicked(bool checked) { m_edit->OnCopyClicked(checked); }
    void OnCutClicked(bool checked) { m_edit->OnCutClicked(checked); }
    void OnPasteClicked(bool checked) { m_edit->OnPasteClicked(checked); }
    void OnSelAllClicked(bool checked) { m_edit->OnSelAllClicked(checked); }

signals:
    void SuffixBtnClickedSignal();

private slots:
    void SuffixBtnClicked() { emit SuffixBtnClickedSignal(); }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QLabel *m_prefix = nullptr;
    CCustomLineEdit *m_edit = nullptr;
    QPushButton *m_suffix = nullptr;
};

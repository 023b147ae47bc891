#pragma once

#include "widgets/BoxContent.h"
#include <QDialog>

/// A notice with a title bar, a status icon, a text (which may hold links) and the button "确定". GUI thread.
class CustomMessageBox final : public QDialog
{
    Q_OBJECT
public:
    CustomMessageBox(const QString &title, const QString &text, eTipStatus status, QWidget *parent);

    /// Whether a link in the text was followed.
    bool isLinkClick() const { return m_linkClicked; }
    /// eBoxOrigin::AskedFor makes "确定" the default; Unasked is the initial state.
    void setOrigin(eBoxOrigin origin) { m_content->setOrigin(origin); }

private slots:
    void on_close_btn_clicked() { close(); }
    void OnCustomTitleBarPressed(int nPosX, int nPosY) { m_content->press(nPosX, nPosY); }
    void OnCustomTitleBarmoved(int nPosX, int nPosY) { m_content->move(nPosX, nPosY); }
    void onLinkClick(const QString &) { m_linkClicked = true; }

private:
    void Init(const QString &title, const QString &text, eTipStatus status);

    tarn::visualized::BoxContent *m_content = nullptr;
    bool m_linkClicked = false;
};

/// Shows a notice, modal to the parent's window, and returns when it is closed or its parent is destroyed.
/// @param linkClicked may be null; set to true when a link was followed, never to false, and not touched once the parent
///        is destroyed
void CstmMessageBox(const QString &title, const QString &text, eTipStatus status, QWidget *parent,
                    bool *linkClicked = nullptr, eBoxOrigin origin = eBoxOrigin::Unasked);

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

/// A question with two buttons, "确定" and "取消" unless set otherwise. Escape and the close button answer like the
/// second one. GUI thread.
class QuestionMessageBox final : public QDialog
{
    Q_OBJECT
public:
    QuestionMessageBox(const QString &title, const QString &text, QWidget *parent);

    void SetButtonText(const QString &okText, const QString &cancelText);
    /// eBoxOrigin::AskedFor makes the first button the default; Unasked is the initial state.
    void setOrigin(eBoxOrigin origin) { m_content->setOrigin(origin); }

private slots:
    void on_ok_btn_clicked() { accept(); }
    void on_concel_btn_clicked() { reject(); } // misspelt on purpose: a fixed name
    void OnCustomTitleBarPressed(int nPosX, int nPosY) { m_content->press(nPosX, nPosY); }
    void OnCustomTitleBarmoved(int nPosX, int nPosY) { m_content->move(nPosX, nPosY); }

private:
    void Init(const QString &title, const QString &text);

    tarn::visualized::BoxContent *m_content = nullptr;
};

/// A short notice that closes itself: 90 px high, as wide as its text up to 860 px, with a drop shadow. It has no
/// button; Escape closes it early. GUI thread.
class CTimingMessageBox final : public QDialog
{
    Q_OBJECT
public:
    /// @param msecs milliseconds until it closes; 0 or less closes it at the next turn of the event loop
    CTimingMessageBox(const QString &text, int msecs, QWidget *parent);

public slots:
    void CloseDialog() { close(); }

protected:
    void showEvent(QShowEvent *event) override;

private:
    void updateShape();
    QWidget *textPanel(const QString &text);
};

/// Shows a notice, modal to the parent's window, and returns when it is closed or its parent is destroyed.
/// @param linkClicked may be null; set to true when a link was followed, never to false, and not touched once the parent
///        is destroyed
void CstmMessageBox(const QString &title, const QString &text, eTipStatus status, QWidget *parent,
                    bool *linkClicked = nullptr, eBoxOrigin origin = eBoxOrigin::Unasked);
/// Asks a question, modal to the parent's window.
/// @param about the thing in question, for screen readers, where the text does not name it
/// @return 1 when the first button was pressed, else 0; also 0 when the parent is destroyed meanwhile
int CQuestionMessageBox(const QString &title, const QString &text, QWidget *parent,
                        QString okText = QStringLiteral("确定"), QString cancelText = QStringLiteral("取消"),
                        eBoxOrigin origin = eBoxOrigin::Unasked, const QString &about = QString());
/// Shows a notice that closes itself after msecs milliseconds, modal to the parent's window; returns when it is closed or
/// its parent is destroyed.
void CstmTimingMessageBox(const QString &text, int msecs, QWidget *parent);

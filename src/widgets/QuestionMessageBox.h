#pragma once

#include "widgets/CustomMessageBox.h"

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

/// Asks a question, modal to the parent's window.
/// @param about the thing in question, for screen readers, where the text does not name it
/// @return 1 when the first button was pressed, else 0; also 0 when the parent is destroyed meanwhile
int CQuestionMessageBox(const QString &title, const QString &text, QWidget *parent,
                        QString okText = QStringLiteral("确定"), QString cancelText = QStringLiteral("取消"),
                        eBoxOrigin origin = eBoxOrigin::Unasked, const QString &about = QString());

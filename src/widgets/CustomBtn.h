#pragma once

#include <QPushButton>

/// For the key handler of a button: Return and Enter click it, as Space does. @return whether the key was one of them
bool clickByReturn(QAbstractButton *button, const QKeyEvent *event);

/// The push button of all windows: one of four tones (rules in Look), pointing hand, never a default button by itself.
/// With the focus on it both Space and Return press it.
class CCustomBtn : public QPushButton
{
    Q_OBJECT
public:
    enum Tone { Grey, Blue, White, Link };
    Q_ENUM(Tone)

    CCustomBtn(const QString &text, Tone tone, QWidget *parent);
    /// With its object name and a fixed size in design pixels.
    CCustomBtn(const QString &text, Tone tone, const char *objectName, QSize size, QWidget *parent);

protected:
    void keyPressEvent(QKeyEvent *event) override;
};

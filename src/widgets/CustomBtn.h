#pragma once

#include <QPushButton>

/// The push button of all windows: one of four tones (rules in Look), pointing hand, never a default button by itself.
/// With the focus on it both Space and Return press it.
class CCustomBtn : public QPushButton
{
    Q_OBJECT
    Q_PROPERTY(Tone tone READ tone CONSTANT)
public:
    enum Tone { Grey, Blue, White, Link };
    Q_ENUM(Tone)

    CCustomBtn(const QString &text, Tone tone, QWidget *parent);

    Tone tone() const { return m_tone; }

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    const Tone m_tone;
};

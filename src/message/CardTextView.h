#pragma once

#include <QTextEdit>

class MessageCard;

/// Shows a message's text, to be read, marked and copied; a long one scrolls inside.
class CardTextView final : public QTextEdit
{
    Q_OBJECT
public:
    CardTextView(const MessageCard &card, QWidget *parent);

    void setContent(const QString &content);
    /// Takes the width. @return pixels that the text wants then, at most those of twenty lines
    int fitToWidth(int width);

signals:
    void pressed();

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    void makeScrollable();

    bool m_isLong = false; // too long to be measured
    int m_lineHeight;
};

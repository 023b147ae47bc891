#pragma once

#include <QTextBrowser>

class MessageCard;

/// Shows a message's text, which comes from outside: nothing is loaded for it, and whatever is too wide or too long
/// scrolls inside. Links are announced, never followed by itself.
class CardTextView final : public QTextBrowser
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
    QString m_content;
    int m_lineHeight;
};

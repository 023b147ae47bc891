#pragma once

#include <QTextEdit>

class MessageCard;
class QLabel;

namespace tarn::visualized {
class SafeDocument;
}

/// Shows a message's text, to be read, selected and copied; a long one scrolls inside.
class CardTextView final : public QTextEdit
{
    Q_OBJECT
public:
    CardTextView(const MessageCard &card, QWidget *parent);

    /// @param pictureBox the most that a picture in the text takes
    void setContent(const QString &content, const QSize &pictureBox);
    /// Takes the width. @return pixels that the text wants then, at most those of twenty lines
    int fitToWidth(int width);

signals:
    void pressed();
    void grown(); ///< a picture of the text has been read

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    QMimeData *createMimeDataFromSelection() const override;

private:
    void makeScrollable();

    tarn::visualized::SafeDocument *m_document;
    bool m_isLong = false; // too long to be measured
    int m_lineHeight;
};

/// Lines that the text takes in the edit at its present width and with its font, the edit keeping its own text; an
/// empty text means the edit's own. 0 without text or edit.
int GetLineCount(const QString &text, QTextEdit *edit);
/// The text cut to two lines of the label's width, with an ellipsis when something is left out.
QString CreateAbbreviationString(const QString &text, const QFont &font, QLabel *label);

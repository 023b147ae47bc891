#pragma once

#include <QLabel>

/// A plain-text label that never asks for more room than it gets: a text that does not fit ends in "…", with the whole text
/// as tool tip. Of very long texts the first 1000 characters are measured, shown and spoken. Set the text with
/// setFullText(), not setText(). GUI thread.
class ElideLabel final : public QLabel
{
    Q_OBJECT
public:
    explicit ElideLabel(QWidget *parent = nullptr);
    ElideLabel(const QString &text, QWidget *parent);

    const QString &fullText() const { return m_fullText; }
    /// Wraps into up to this many lines before it elides; 1 by default.
    void setMaximumLines(int lines);
    void setFullText(const QString &text);
    /// An end of the full text that is always shown: the text before it is elided.
    void setKeptEnd(const QString &end);

    QSize sizeHint() const override;        // the whole text on one line
    QSize minimumSizeHint() const override; // one character

protected:
    bool event(QEvent *event) override;

private:
    void fit();
    QString measured() const;
    QString fitted(int width) const;
    QSize framed(const QSize &text) const;

    QString m_fullText;
    QString m_keptEnd;
    int m_maximumLines = 1;
};

#pragma once

#include <QLabel>

/// A plain-text label that never asks for more room than it gets: what does not fit ends in "…" and the whole text is
/// the tool tip. Screen readers always get the whole text. Set the text with setFullText(), not setText().
class ElideLabel final : public QLabel
{
    Q_OBJECT
public:
    explicit ElideLabel(QWidget *parent = nullptr);
    ElideLabel(const QString &text, QWidget *parent);

    const QString &fullText() const { return m_fullText; }
    bool isElided() const { return m_elided; }
    /// Wraps into up to this many lines before it elides; 1 by default.
    void setMaximumLines(int lines);
    void setFullText(const QString &text);
    /// An end of the full text that is shown in any case: what stands before it is elided.
    void setKeptEnd(const QString &end);

    /// A tool tip that wraps long text and shows markup from outside as it stands.
    static QString toolTipFor(const QString &text);

    QSize sizeHint() const override;        // the whole text on one line
    QSize minimumSizeHint() const override; // one character

protected:
    bool event(QEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void fit();
    QString fitted(int width) const;
    QString shortened(const QString &flat, int width) const;
    QStringList broken(const QString &flat, int width) const;
    QSize framed(const QSize &text) const;

    QString m_fullText;
    QString m_keptEnd;
    int m_maximumLines = 1;
    bool m_elided = false;
};

#pragma once
#include <QTextDocument>
#include <QWidget>

/// A text of fixed width that is as high as it needs to be: every word breaks where it must, and nothing is fetched
/// for it, neither from the network nor from the disk. Takes no input.
class CRichText final : public QWidget
{
    Q_OBJECT
public:
    CRichText(int width, QWidget *parent);

    /// Height of as many whole lines as fit into height; the widget's own height if all do.
    int heightOfWholeLines(int height) const;

    void showHtml(const QString &html, const QFont &font = {});
    /// One paragraph of plain text of at most maxLines lines; what does not fit ends in "…", the tool tip has it all.
    void showPlain(const QString &text, const QFont &font, int maxLines);

protected:
    void paintEvent(QPaintEvent *e) override;

private:
    class Document final : public QTextDocument
    {
    public:
        using QTextDocument::QTextDocument;

    protected:
        QVariant loadResource(int type, const QUrl &name) override;
    };

    void fitHeight();
    int lastVisibleChar(int maxLines) const; ///< end of that line in the first paragraph, -1 if all is visible

    Document m_document;
    const int m_width;
};

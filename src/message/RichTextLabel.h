#pragma once

#include "widgets/SafeDocument.h"

#include <QLabel>

namespace tarn::visualized {

/// A label for rich text from outside: of fixed width, as high as the text needs. Unlike a plain label it breaks every
/// word where it must, and loads nothing but local pictures. Its font and its palette give font and colour. Takes no input.
class RichTextLabel final : public QLabel
{
    Q_OBJECT
public:
    RichTextLabel(int width, int maxPictureHeight, QWidget *parent);

    QSize sizeHint() const override { return size(); }
    QSize minimumSizeHint() const override { return size(); }
    /// Height of as many whole lines as fit into height; the label's own height if all do.
    int heightOfWholeLines(int height) const;
    /// @param html reduced, see SafeHtml.h
    void showHtml(const QString &html);

signals:
    void heightChanged(); ///< a picture of the text has been read

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void fitHeight();

    SafeDocument m_document;
    const int m_width;
};

} // namespace tarn::visualized

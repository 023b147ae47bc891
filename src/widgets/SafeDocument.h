#pragma once

#include <QSet>
#include <QTextDocument>

namespace tarn::visualized {

/// A text document for reduced markup (see SafeHtml.h): it loads nothing by itself, neither from the network nor from the
/// disk. Without margin and undo; any word may be broken at the end of a line. With pictures on the GUI thread, else on any.
class SafeDocument : public QTextDocument
{
    Q_OBJECT
public:
    explicit SafeDocument(QObject *parent = nullptr);

    /// Shows the local pictures that the text names from now on. A pool reads them; until then each takes one pixel.
    /// @param box the most that a picture takes, in logical pixels
    void showPictures(const QSize &box, qreal ratio);

signals:
    void pictureRead(); ///< the text has a new layout

protected:
    QVariant loadResource(int type, const QUrl &name) override;

private:
    QSize m_box; // empty: no pictures
    qreal m_ratio = 1;
    QSet<QString> m_asked;
};

} // namespace tarn::visualized

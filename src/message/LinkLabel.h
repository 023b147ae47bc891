#pragma once

#include <QLabel>

namespace tarn::visualized {

/// The link of a message. It is one stop of Tab and has no context menu. An address that leads to no web page and no mail
/// recipient is shown as plain text: there is nothing to click. GUI thread.
class LinkLabel final : public QLabel
{
    Q_OBJECT
public:
    explicit LinkLabel(QWidget *parent);

    /// @param text plain text; '\n' separates its lines
    /// @param look the style attribute of the link
    void showLink(const QString &text, const QString &address, const QString &look);

protected:
    bool focusNextPrevChild(bool next) override;
    void focusInEvent(QFocusEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
};

} // namespace tarn::visualized

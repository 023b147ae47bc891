#pragma once
#include <QPixmap>
#include <QWidget>

namespace tarn::visualized {

/// The icon of a program (see ProductIcon.h), centred. It is looked for on a worker thread when the widget is first painted:
/// the path comes from outside, and its file system may not answer. GUI thread.
class FileIcon final : public QWidget
{
public:
    FileIcon(const QString &path, int width, QWidget *parent);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void find();

    const QString m_path;
    QPixmap m_icon;
    bool m_asked = false;
};

} // namespace tarn::visualized

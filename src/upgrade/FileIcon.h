#pragma once
#include <QPixmap>
#include <QWidget>

namespace tarn::visualized {

/// The file-system icon of a file, centred. The file is looked at on a worker thread when the widget is first painted,
/// since its path comes from outside and may lie on a mount that hangs; one that does not exist has no icon. GUI thread.
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

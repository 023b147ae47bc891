#pragma once
#include <QWidget>

namespace tarn::visualized {

/// The band below the pages of the sign-in dialog with the sign-ins by QR code. GUI thread.
class QuickBand final : public QWidget
{
    Q_OBJECT
public:
    explicit QuickBand(QWidget *parent = nullptr);

signals:
    void weixinRequested();
    void qqRequested();
};

} // namespace tarn::visualized

#pragma once
#include <QWidget>

namespace tarn::visualized {

/// The band below the pages of the sign-in dialog with the sign-ins by QR code. GUI thread.
class QuickBand final : public QWidget
{
    Q_OBJECT
public:
    explicit QuickBand(QWidget *parent = nullptr);

    static QString sheet(); ///< its rules in the dialog's style sheet

signals:
    void weixinRequested();
    void qqRequested();
};

} // namespace tarn::visualized

#pragma once
#include <QFontMetrics>
#include <QMap>
#include <QVariant>
#include <QWidget>

class ElideLabel;
class QFrame;
class QLabel;
class QPushButton;
class QScrollArea;
class QVBoxLayout;

namespace tarn::visualized {
class LinkLabel;
class RichTextLabel;
} // namespace tarn::visualized

/// Rows that a text takes in a label when it is broken character by character. The last character is deliberately not
/// measured: the sizes that are computed from the count expect it so.
/// @param width of the label in pixels
int GetRowsByLabelText(QFontMetrics fm, QString text, int width);

/// The notice in the lower right corner: title, body, an optional picture and link, a button for the message center
/// with the number of unread messages, and a close button. Screen readers announce it when it appears. GUI thread; deletes
/// itself on close and has no timer.
class NotifyWnd final : public QWidget
{
    Q_OBJECT
public:
    explicit NotifyWnd(QWidget *parent);

    QMap<QString, QVariant> data() const { return m_data; }
    QString GetMsgId() const { return m_msgId; }
    int GetUnReadMsgNum() const { return m_unreadCount; }
    bool wasPainted() const { return m_painted; } ///< it has been on the screen
    /// The right and bottom of the primary screen's available area, less dx and dy.
    QPoint cornerPos(int dx, int dy) const;
    /// Size of the primary screen without the panels on one of its axes.
    QSize ScreenSize() const;

    void SetUnReadMsgNum(int count) { m_unreadCount = count; }
    void setData(const QMap<QString, QVariant> &data);
    void CreateCtrl(); ///< builds button and badge; after SetUnReadMsgNum()
    /// @param callback called once, when the window closes; may be null
    void SetWndCallBack(void (*callback)()) { m_callback = callback; }
    void CloseDlg() { close(); }

signals:
    void firstPainted();

public slots:
    void MsgBtnClick();
    void OnlinkActivated(QString link);
    void DpiChanged(double dpi);
    void endPaintWait(); ///< counts as painted from now on

protected:
    void paintEvent(QPaintEvent *e) override;
    void showEvent(QShowEvent *e) override;
    void closeEvent(QCloseEvent *e) override;
    void keyPressEvent(QKeyEvent *e) override;

private:
    void InitUi();
    QScrollArea *bodyArea();
    void makeBodyScroll();
    QPushButton *closeButton();
    void AdjustSizeByScreen();
    void SetPicPath(const QString &path);
    void showPicture(const QImage &image);
    void showTitle(const QString &title);
    void setLink(const QString &text, const QString &address);
    void ResizeWnd();
    void grow();
    void updateShape();
    void showBadge(QLabel *badge) const;
    QString textOf(const QString &key) const { return m_data.value(key).toString(); }

    int m_sideMargin = 0;
    int m_topMargin = 0;
    int m_bottomMargin = 0;
    int m_pictureHeight = 0;
    int m_bodyPictureHeight = 0;
    int m_maxHeight = 0;
    int m_width = 0;
    int m_titleFontSize = 0;
    int m_bodyFontSize = 0;
    int m_linkFontSize = 0;

    QMap<QString, QVariant> m_data;
    QString m_msgId;
    QString m_picturePath;
    int m_unreadCount = 0;
    void (*m_callback)() = nullptr;
    bool m_painted = false;

    QFrame *m_background = nullptr;
    QVBoxLayout *m_layout = nullptr;
    ElideLabel *m_title = nullptr;
    tarn::visualized::RichTextLabel *m_body = nullptr;
    QScrollArea *m_bodyArea = nullptr;
    QLabel *m_picture = nullptr;
    tarn::visualized::LinkLabel *m_link = nullptr;
    QPushButton *m_msgCenterButton = nullptr;
    QPushButton *m_closeButton = nullptr;
};

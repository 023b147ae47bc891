#pragma once
#include <QFontMetrics>
#include <QMap>
#include <QVariant>
#include <QWidget>

class ElideLabel;
class QLabel;
class QPushButton;
class QScreen;
class QScrollArea;

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
    QString GetMsgId() const;
    int GetUnReadMsgNum() const { return m_unreadCount; }
    bool wasPainted() const { return m_painted; } ///< it has been on the screen
    /// The right and bottom of the primary screen's available area, less dx and dy.
    QPoint cornerPos(int dx, int dy) const;
    /// Size of the primary screen without the panels on one of its axes.
    QSize ScreenSize() const;

    void SetUnReadMsgNum(int count) { m_unreadCount = count; }
    void setData(const QMap<QString, QVariant> &data);
    void CreateCtrl(); ///< shows button and badge; after SetUnReadMsgNum()
    /// @param callback called once, when the window closes; may be null
    void SetWndCallBack(void (*callback)()) { m_callback = callback; }
    void CloseDlg() { close(); }
    void moveToCorner(); ///< 10 pixels inside the corner of the primary screen's available area

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
    void followScreen(const QScreen *screen);
    void InitUi();
    void makeBody();
    void makeBodyScroll();
    void AdjustSizeByScreen();
    void SetPicPath(const QString &path);
    void showPicture(const QImage &image);
    void showTitle(const QString &title);
    void dress();
    void setLink(const QString &text, const QString &address);
    void showLink();
    void ResizeWnd();
    void grow();
    void updateShape();
    QString textOf(const QString &key) const { return m_data.value(key).toString(); }

    QMap<QString, QVariant> m_data;
    int m_unreadCount = 0;
    void (*m_callback)() = nullptr;
    bool m_painted = false;
    bool m_isDressed = false; // sheets, pictures and the link are there

    QWidget *m_background = nullptr;
    ElideLabel *m_title = nullptr;
    tarn::visualized::RichTextLabel *m_body = nullptr;
    QScrollArea *m_bodyArea = nullptr;
    QLabel *m_picture = nullptr;
    tarn::visualized::LinkLabel *m_link = nullptr;
    QPushButton *m_msgCenterButton = nullptr;
    QLabel *m_badge = nullptr;
    QPushButton *m_closeButton = nullptr;
};

#pragma once

#include "message/MessageObserver.h"
#include "message/MsgCenterDataMgr.h"
#include "widgets/WindowDrag.h"

#include <QDialog>
#include <QHash>
#include <map>

class CMessageListItem;
class CMessagePushEvent;
class MessageList;
class QPushButton;
class QStackedWidget;
class QTimer;

/// The window that lists every message of the message service. Fetches the records once, when it is made; shows the
/// first screen and then builds the rest piece by piece. What the user does goes to the service and to the observers.
/// GUI thread.
class CMsgCenterDlg final : public QDialog
{
    Q_OBJECT
public:
    explicit CMsgCenterDlg(QWidget *parent);
    ~CMsgCenterDlg() override;

signals:
    void MsgHasBeReadSignal();
    void MsgHasBeClickSignal();
    void MsgCenterClosed();

public slots:
    void MsgReadSlots(QString strMsgId);
    void MsgHasBeClickSlots(QString strMsgId);
    void OnMessageSelected(QString strMessageId);
    void OnMessageDeleted(QString strMessageId);
    void OnCloseBtnClicked();
    void OnCustomTitleBarPressed(int nPosX, int nPosY);
    void OnCustomTitleBarmoved(int nPosX, int nPosY);

protected:
    bool event(QEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;
    void closeEvent(QCloseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private slots:
    void buildNextChunk();
    void connectItem(CMessageListItem *item);

private:
    void InitDialogUi();
    QWidget *titleBand();
    QWidget *actionBand();
    QWidget *emptyPage();
    void fetchRecords();
    CMessageListItem *newItem(sMsgData &record, QWidget *parent);
    void ReadAllMsg();
    void BeforeCloseDiallog();
    void applyCount();
    void notifyObservers(const QString &id, EMessageEventType type);
    void forwardToItem(CMessagePushEvent *event);
    void moveSelectionAway(const std::vector<CMessageListItem *> &items);
    /// The item in the map and those of further records with the same id, which are one message to the service.
    std::vector<CMessageListItem *> itemsOf(const QString &id) const;

    std::vector<sMsgData> m_records; // filled once: the items point into it
    std::map<QString, QObject *> m_items;
    QMultiHash<QString, CMessageListItem *> m_twins;
    QString m_selectedId;
    int m_shownCount = 0;
    bool m_hasLeftObserver = false;
    size_t m_builtCount = 0;
    QStackedWidget *m_pages = nullptr;
    MessageList *m_list = nullptr;
    QPushButton *m_readAll = nullptr;
    QTimer *m_builder = nullptr;
    WindowDrag m_drag;
};

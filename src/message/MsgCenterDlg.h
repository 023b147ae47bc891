#pragma once

#include "message/MessageObserver.h"
#include "message/MsgCenterDataMgr.h"
#include "widgets/ToolDialog.h"

#include <QTimer>
#include <map>

class CMessageListItem;
class CMessagePushEvent;
class MessageList;
class QPushButton;
class QStackedWidget;
class QVBoxLayout;

/// The window that lists every message of the message service. Fetches the records once, in its constructor; shows the
/// first screen and then builds the rest piece by piece. Reports the user's actions to the service and to the observers.
/// GUI thread.
class CMsgCenterDlg final : public tarn::visualized::ToolDialog
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
    void OnCloseBtnClicked() { close(); }

protected:
    bool event(QEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;
    void closeEvent(QCloseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    void InitDialogUi();
    void addTitleBand(QVBoxLayout *column);
    QWidget *actionBand();
    QWidget *emptyPage();
    void fetchRecords();
    void logIds();
    void buildChunk();
    void addItem(CMessageListItem *item);
    void connectItem(CMessageListItem *item);
    void ReadAllMsg();
    void BeforeCloseDiallog();
    void applyCount();
    void notifyObservers(const QString &id, EMessageEventType type);
    void forwardToItem(CMessagePushEvent *event);
    /// The items of all records with this id, which are one message to the service.
    QList<CMessageListItem *> itemsOf(const QString &id) const;
    void remove(const QList<CMessageListItem *> &items);
    void moveSelectionAway(const QList<CMessageListItem *> &items);

    std::vector<sMsgData> m_records; // filled once: the items point into it
    std::multimap<QString, CMessageListItem *> m_items;
    QString m_selectedId;
    int m_shownCount = 0;
    bool m_hasLeftObserver = false;
    bool m_hasLoggedIds = false;
    QStackedWidget *m_pages = nullptr;
    MessageList *m_list = nullptr;
    QPushButton *m_readAll = nullptr;
    QWidget *m_closeButton = nullptr;
    QTimer m_builder;
};

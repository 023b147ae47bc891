// The manager's handlers of the message requests: the notice in the corner and the message center.
#include "base/Log.h"
#include "frame/VisualizedManager.h"
#include "message/MsgCenterDlg.h"
#include "message/NoticeQueue.h"
#include "message/NotifyWnd.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/message/IMessageServiceArgs.h"
#include "widgets/BringToFront.h"
#include "widgets/Placement.h"
#include <QDateTime>
#include <QThread>
#include <QTimer>

using namespace tarn::visualized;

namespace {
namespace key = tarn::message::key;

constexpr unsigned long ReplacePauseSeconds = 2;
// A screen that paints nothing must not hold back the notices behind it.
constexpr int PaintPatienceMs = 1000;
constexpr int FarthestPixel = 1 << 20;

/// The rectangle comes from outside; no screen lies beyond these limits, and sums stay within int.
QRect withinReason(const QRect &rect)
{
    const auto bound = [](int edge) { return qBound(-FarthestPixel, edge, FarthestPixel); };
    return {QPoint(bound(rect.left()), bound(rect.top())), QPoint(bound(rect.right()), bound(rect.bottom()))};
}
} // namespace

void CVisualizedManager::ShowNotifyMessageDlg(const CNotifyMsgEventData &data)
{
    VT_LOG(debug) << QStringLiteral("[%1]显示通知栏消息。").arg(QLatin1String(__func__));
    const NoticeQueue::Values values = NoticeQueue::instance().claim(&data.msgValues);
    if (values.value(key::MsgId).toString().isEmpty())
        return; // also one that was dropped
    if (values.value(key::MsgContent).toString().isEmpty()) {
        VT_LOG(warning) << QStringLiteral("通知栏消息内容为空。退出展现");
        return;
    }
    // Events that queued up during the pause below are delivered at once: without waiting for the paint, all but the last
    // of their notices would be replaced unseen.
    NoticeQueue::instance().add(values);
    showWaitingNotice();
}

void CVisualizedManager::showNotice(const QMap<QString, QVariant> &values)
{
    replaceNotice();
    auto *window = new NotifyWnd(nullptr);
    m_notifyWnd = window;
    window->setAttribute(Qt::WA_DeleteOnClose);
    window->SetUnReadMsgNum(values.value(key::unReadNum).toInt());
    window->setData(values);
    window->CreateCtrl();
    connect(window, &NotifyWnd::firstPainted, this, &CVisualizedManager::showWaitingNotice, Qt::QueuedConnection);
    connect(window, &QObject::destroyed, this, &CVisualizedManager::showWaitingNotice, Qt::QueuedConnection);
    auto *patience = new QTimer(window);
    connect(patience, &QTimer::timeout, window, &NotifyWnd::endPaintWait);
    connect(window, &NotifyWnd::firstPainted, patience, &QTimer::stop); // a painted notice needs no timer
    patience->start(PaintPatienceMs);

    const QString id = window->GetMsgId();
    VT_LOG(info) << QStringLiteral("显示通知栏窗口。消息ID:%1").arg(id);
    window->moveToCorner(); // before show(), so that the notice does not jump
    front::showOnTopOnce(window);
    VT_LOG(info) << QStringLiteral("通知消息展示-消息id:") + id + QStringLiteral("时间") +
                        QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    VT_LOG(info) << QStringLiteral("通知栏窗口。width:%1 --height:%2").arg(window->width()).arg(window->height());
    window->moveToCorner();
}

void CVisualizedManager::replaceNotice()
{
    if (!m_notifyWnd || m_notifyWnd->isHidden())
        return; // what the user has just closed needs no second closing
    CloseNotifyWnd();
    // Deliberate: the closing is to be seen before the next notice comes up. Only the GUI thread waits; the
    // operations answer on their own threads.
    QThread::sleep(ReplacePauseSeconds);
}

void CVisualizedManager::showWaitingNotice()
{
    if (m_notifyWnd && !m_notifyWnd->wasPainted())
        return;
    const NoticeQueue::Values values = NoticeQueue::instance().take();
    if (!values.isEmpty())
        showNotice(values);
}

void CVisualizedManager::ShowMessageCenterDlg(const CMsgCenterEventData &data)
{
    VT_LOG(debug) << QStringLiteral("【消息中心】显示消息中心对话框。");
    const bool isNew = !m_msgCenterDlg;
    if (isNew) {
        m_msgCenterDlg = new CMsgCenterDlg(nullptr);
        m_msgCenterDlg->setAttribute(Qt::WA_DeleteOnClose);
        // The next request opens a new window, which fetches the messages again. The closed one can be closed again.
        connect(m_msgCenterDlg, &CMsgCenterDlg::MsgCenterClosed, this, [this, closed = m_msgCenterDlg.data()] {
            if (m_msgCenterDlg == closed)
                m_msgCenterDlg.clear();
        });
    }
    placeMessageCenter(data.inputArgs->GetValue(key::MsgCenterRect).toRect());
    m_msgCenterDlg->setWindowFlag(Qt::WindowStaysOnTopHint);
    m_msgCenterDlg->show();
    m_msgCenterDlg->raise(); // one that is open already may be covered
    if (isNew)
        front::neutralFocus(m_msgCenterDlg); // show() moved the focus to the close button
}

void CVisualizedManager::placeMessageCenter(const QRect &parentWindow)
{
    QRect target = withinReason(parentWindow);
    if (parentWindow.right() < parentWindow.left()) {
        VT_LOG(debug) << QStringLiteral("【消息中心】未获取到消息中心的父级窗口");
        target = placement::availableFor(m_msgCenterDlg);
    }
    QString shown;
    QDebug(&shown).nospace() << target;
    VT_LOG(debug) << QStringLiteral("【消息中心】重新计算消息中心位置：") + shown;
    const QSize size = placement::settledSize(m_msgCenterDlg);
    placement::placeOnScreen(m_msgCenterDlg, QRect((target.left() + target.right()) / 2 - size.width() / 2,
                                                   (target.top() + target.bottom()) / 2 - size.height() / 2,
                                                   size.width(), size.height()));
}

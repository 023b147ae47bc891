#pragma once
#include "frame/VtServiceClient.h"
#include <QRunnable>
#include <QString>
#include <QStringList>

class IMessageServiceAssistant;

/// An action to report to the message service; -1 and false: no report.
struct CMsgUpdTaskData
{
    bool ignore = false;  ///< the message is not to be shown again
    qint32 receipt = -1;  ///< 2 read, 3 clicked
    qint32 status = -1;   ///< 2 read, 3 deleted
    QStringList msgIds;   ///< receipt and ignore concern the first only
    QString operateType;  ///< "MsgState" or "MessageStatu"; also the key of the status
    QString softwareName; ///< may be empty
};

/// Reports one action of the user to the message service: receipt, status and ignore request, independently of each
/// other. Runs on the global thread pool, which deletes it; the outcome is logged.
class CMsgDataUpdTask final : public QRunnable
{
public:
    explicit CMsgDataUpdTask(const CMsgUpdTaskData &data);
    void run() override;

private:
    void addReceipt() const;
    void updateStatus() const;
    void ignoreMessage() const;
    QString firstId() const;

    const CMsgUpdTaskData m_data;
    const tarn::visualized::ServiceHandle<IMessageServiceAssistant>
        m_service; // from the order to the end of the report
};

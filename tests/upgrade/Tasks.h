#pragma once
#include "support/FakeClient.h"
#include "tarn/keys/UpgradeKeys.h"
#include "upgrade/operate/UpgradeDataRefresh.h"
#include <QVariantMap>

// Task maps as the upgrade service reports them, and the display rows made of them.
namespace tasks {

inline QVariantMap task(const QString &name, int status, qint64 current = 10, qint64 total = 100)
{
    namespace key = tarn::upgrade::key;
    return {{key::SoftName, name},
            {key::ErrMsg, QString()},
            {key::CurrentVersion, QStringLiteral("1.0")},
            {key::ExeFilePath, QStringLiteral("/opt/") + name},
            {key::Status, status},
            {key::Software, QVariantMap{{QStringLiteral("升级版本"), QStringLiteral("2.0")}}},
            {key::WorkingItem, QVariantMap{{key::ItemType, 1},
                                           {key::UpdateVersion, QStringLiteral("2.0")},
                                           {key::CurrentSize, current},
                                           {key::TotalSize, total}}}};
}

inline QVariant picture(const QVariantList &list)
{
    return upgrade::operate::queryDataInfos(list);
}

inline QVariant row(const QVariantMap &one)
{
    return upgrade::operate::queryDataInfos(QVariantList{one}).constFirst();
}

inline QList<FakeCall> callsOf(const QString &operation)
{
    QList<FakeCall> found;
    for (const FakeCall &call : FakeClient::fake().calls()) {
        if (call.operation == operation)
            found.append(call);
    }
    return found;
}

// The names in the stop requests, in order.
inline QStringList stops()
{
    QStringList names;
    for (const FakeCall &call : callsOf(QStringLiteral("StopUpgrade")))
        names.append(call.values.value(QStringLiteral("软件名称")).toString());
    return names;
}

// An answer of the fake service.
inline FakeAnswer answer(int code, const QString &error, const QVariantMap &values = {})
{
    FakeAnswer answer;
    answer.code = code;
    answer.error = error;
    answer.values = values;
    return answer;
}

} // namespace tasks

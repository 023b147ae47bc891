#pragma once
#include <QMetaType>
#include <QString>
#include <QVariant>

namespace tarn::rpc {

/// What travels with a call and with its answer: keyed values and one list. Types that survive the round trip: null,
/// bool, int, uint, qlonglong, qulonglong, double, QString, QByteArray, QVariantList (QStringList arrives as one),
/// QVariantMap, QRect and ObjectRef. Anything else is refused by the sender (RpcError::InvalidArgument).
struct Bag
{
    QVariantMap values;
    QVariantList list;
};

/// Names a live object of some process. The epoch tells a process from a later one behind the same name.
struct ObjectRef
{
    QString interfaceName;
    QString tag;
    QString endpoint; ///< address the object's process serves on
    quint64 epoch = 0;

    bool isNull() const { return tag.isEmpty(); }
};

} // namespace tarn::rpc

Q_DECLARE_METATYPE(tarn::rpc::ObjectRef)

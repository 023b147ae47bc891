#pragma once
#include "rpc/Messages.h"

namespace tarn::v1 {
class Bag;
class CallRequest;
class CallResponse;
class ObjectRef;
class Value;
} // namespace tarn::v1

namespace tarn::rpc {

/// Qt values to wire messages. Refuses what would not arrive whole: types that the wire does not know, texts that are
/// no valid UTF-16, too deep nesting, too many values. One object per message.
class Encoder
{
public:
    bool encode(const Request &from, v1::CallRequest *to);
    bool encode(const Response &from, v1::CallResponse *to);
    static void encode(const ObjectRef &from, v1::ObjectRef *to);
    const QString &error() const { return m_error; }

private:
    bool bag(const Bag &from, v1::Bag *to);
    bool value(const QVariant &from, v1::Value *to);
    bool list(const QVariantList &from, v1::Value *to);
    bool map(const QVariantMap &from, v1::Value *to);
    bool text(const QString &from, std::string *to);
    bool enter();
    bool fail(const QString &reason);

    int m_depth = 0;
    int m_nodes = 0;
    QString m_key; ///< innermost key, for the error
    QString m_error;
};

/// The reference that the hub sent.
ObjectRef fromWire(const v1::ObjectRef &from);

} // namespace tarn::rpc

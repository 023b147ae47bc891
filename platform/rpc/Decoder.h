#pragma once
#include "rpc/Messages.h"
#include <google/protobuf/io/coded_stream.h>

namespace tarn::rpc {

/// Wire messages to Qt values, read straight from the bytes: the generated classes would build a hostile message whole
/// (4 MiB of empty maps become 200 MiB) before any limit could be checked. One object per message.
class Decoder
{
public:
    Decoder(const void *bytes, int size);
    bool decode(Request *to);
    bool decode(Response *to);
    const QString &error() const { return m_error; }

private:
    template <class Field>
    bool fields(Field field);
    template <class Body>
    bool nested(Body body);
    bool skip(quint32 tag);

    bool bag(Bag *to);
    bool mapEntry(QVariantMap *to);
    bool value(QVariant *to);
    bool valueFields(QVariant *to);
    bool valueField(quint32 tag, QVariant *to);
    bool list(QVariant *to);
    bool map(QVariant *to);
    bool rect(QVariant *to);
    bool objectRef(QVariant *to);
    bool text(QString *to);
    bool bytes(QVariant *to);
    bool rawBytes(const char **data, int *size);
    bool signedInt(int *to);
    bool number(quint64 *to);
    bool fixedNumber(quint64 *to);
    bool count();
    bool enter();
    bool fail(const QString &reason);
    bool damaged();

    google::protobuf::io::CodedInputStream m_in;
    int m_depth = 0;
    int m_nodes = 0;
    QString m_error;
};

} // namespace tarn::rpc

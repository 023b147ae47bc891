#pragma once

#include <QLibrary>
#include <QList>
#include <QString>
#include <QVariant>

// A client library without services: a real libTARN.ServiceClient.Base.so with the real entry point and assistants, in
// FakeClient::directory(). A test sets TARN_MODULE_PATH to that directory before the shipped code loads it, and drives
// it through the second entry point that fake() calls.

struct FakeAnswer
{
    int code = 0;
    QString error = {};
    QVariantMap values = {};
    QVariantList list = {};
    int delayMs = 0;
    bool hang = false; // answers only after releaseHangs() or the assistant's UnInitialize()
};

struct FakeCall
{
    QString operation; // as in the interface, e.g. "AddMessageReceipt"; also "Initialize message" and the like
    QVariantMap values;
    QVariantList list;
};

class IFakeClient
{
public:
    virtual ~IFakeClient() = default;
    // Answers to one operation, first in first out; without any it answers with its family's success code.
    virtual void queue(const QString &operation, const FakeAnswer &answer) = 0;
    virtual QList<FakeCall> calls() const = 0;
    virtual int hanging() const = 0; // calls that hang right now
    virtual void releaseHangs() = 0;
    virtual void setAvailable(bool available) = 0; // false: the manager hands out null assistants
    virtual void reset() = 0;

    QStringList operations() const // of calls()
    {
        QStringList result;
        for (const FakeCall &call : calls())
            result.append(call.operation);
        return result;
    }
};

namespace FakeClient {

inline QString directory()
{
    return QString::fromLocal8Bit(TARN_FAKE_CLIENT_DIR);
}

// Sets the module path; in initTestCase(), before the shipped code needs the library.
inline void install()
{
    qputenv("TARN_MODULE_PATH", directory().toLocal8Bit());
}

// The control of the library. Keeps it loaded from then on.
inline IFakeClient &fake()
{
    static QLibrary library(directory() + QStringLiteral("/libTARN.ServiceClient.Base.so"));
    using Entry = IFakeClient *(*)();
    static const auto entry = reinterpret_cast<Entry>(library.resolve("fakeClient"));
    if (!entry)
        qFatal("no fake client library in %s", qPrintable(directory()));
    return *entry();
}

// The values of one operation's calls, in order.
inline QList<QVariantMap> callsOf(const QString &operation)
{
    QList<QVariantMap> found;
    for (const FakeCall &call : fake().calls()) {
        if (call.operation == operation)
            found << call.values;
    }
    return found;
}

} // namespace FakeClient

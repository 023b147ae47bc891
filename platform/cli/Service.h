#pragma once
#include "cli/Command.h"
#include "tarn/link/MessageWire.h"
#include "tarn/link/ServiceConnection.h"
#include "tarn/visualized/IVisualizedService.h"
#include <QMap>

/// Calls to the services, and what a user reads about their failures.
namespace tarn::cli {

struct Service
{
    QString tag;
    QString name; ///< as messages name it, e.g. "the message service"
};
inline const Service VisualizedService{visualized::DefaultTag, QStringLiteral("the visualized service")};
inline const Service MessageService{link::wire::MessageTag, QStringLiteral("the message service")};
inline const Service UpgradeService{link::wire::UpgradeTag, QStringLiteral("the upgrade service")};
inline const Service CloudService{link::wire::CloudTag, QStringLiteral("the cloud account service")};

/// Why a call that did not arrive failed, and the command that helps, or why it was refused.
Failure failureOf(const rpc::CallResult &result, const Service &service);

/// A call that has to be accepted. Throws Failure.
rpc::CallResult accepted(const rpc::CallResult &result, const Service &service);

struct Query
{
    const Service &service;
    QString method;
    QVariantMap values = {};
    int limitMs = link::ServiceConnection::DefaultTimeout;
    bool paged = false; ///< the answer is a list that may be larger than one message
};
Query paged(const Service &service, const QString &method, const QVariantMap &values = {});

QVariant valuesOf(const rpc::CallResult &result);
QVariant listOf(const rpc::CallResult &result);

/// How an answer is printed: its data as JSON with --json, otherwise by the printer. A call without one prints nothing.
struct Output
{
    std::function<void(const rpc::CallResult &)> print = {};
    std::function<QVariant(const rpc::CallResult &)> data = valuesOf;
};
/// Prints an answer that is a list, each of its maps by the printer.
Output eachOf(void (*printer)(const QVariantMap &));

/// One question and its answer.
/// @return the exit code
int ask(const Query &query, const Line &line, const Output &output = {});

/// What a command does that is one call.
/// @param values further ones, made of the command line; may be null
Command::Run asks(const Query &query, QVariantMap (*values)(const Line &) = nullptr, const Output &output = {});

/// A process as messages name it, e.g. "ServiceHub (process 4711)".
QString processText(const QString &program, qint64 pid);

/// The programs that listen in the runtime directory, by process number. They are known from the kernel, so that a
/// program that hangs is found as well.
QMap<qint64, QString> runningProcesses();

} // namespace tarn::cli

#pragma once
#include "cli/Command.h"
#include "tarn/link/MessageWire.h"
#include "tarn/link/ServiceConnection.h"
#include "tarn/visualized/IVisualizedService.h"
#include <functional>

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

/// Prints the reason why a call did not reach its object, and the command that helps.
/// @return the exit code
int explainFailure(const rpc::CallResult &result, const Service &service);

/// Prints the reason why a call failed or was refused, nothing when it was accepted.
/// @return the exit code
int judge(const rpc::CallResult &result, const Service &service);

/// The option of commands that can print their answer as JSON.
Option jsonOption();

/// One call and its answer. With --json the answer's data is printed as JSON, otherwise as the printer writes it.
struct Query
{
    const Service &service;
    QString method;
    rpc::Bag input;
    int timeoutMs = link::ServiceConnection::DefaultTimeout;
    bool paged = false; ///< the answer is a list that may be larger than one message
};
using Printer = std::function<void(const rpc::CallResult &)>;
using Data = std::function<QVariant(const rpc::CallResult &)>;

QVariant listOf(const rpc::CallResult &result);
QVariant valuesOf(const rpc::CallResult &result);

/// @param data the part of the answer that --json prints
/// @return the exit code
int ask(const Query &query, const Line &line, const Printer &printer, const Data &data = valuesOf);

/// The same for a command without output.
int ask(const Query &query);

/// A program of this user's platform that is running.
struct Process
{
    QString program; ///< file name
    qint64 pid = 0;
};

/// A process as messages name it, e.g. "ServiceHub (process 4711)".
QString processText(const QString &program, qint64 pid);

/// The programs that listen in the runtime directory, each once. They are known from the kernel, so that a program that
/// hangs is found as well.
QList<Process> runningProcesses();

/// The process of a program; 0 when it does not run.
qint64 processOf(const QString &program);

} // namespace tarn::cli

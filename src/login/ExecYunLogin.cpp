#include "login/ExecYunLogin.h"
#include "frame/VtServiceClient.h"
#include "tarn/cloud/ICloudServiceAssistant.h"
#include <QEventLoop>
#include <QFutureWatcher>
#include <QtConcurrent>
#include <memory>
#include <utility>

namespace {
/// Everything that the call needs, alive until the thread has left it. The lease goes last: the argument objects are
/// the client library's.
struct Call
{
    CVtServiceClient::Lease lease;
    QSharedPointer<ICloudService_InputArgs> input;
    QSharedPointer<ICloudService_OutputArgs> output;
};
} // namespace

void ExecYunLogin(ICloudServiceAssistant *assistant, QSharedPointer<ICloudService_InputArgs> input,
                  QSharedPointer<ICloudService_OutputArgs> output)
{
    if (!assistant || !input || !output)
        return;
    auto call = std::make_shared<Call>();
    call->input = std::move(input); // the thread's alone: the library may be unloaded under the loop
    call->output = std::move(output);
    QEventLoop loop;
    QFutureWatcher<void> watcher;
    QObject::connect(&watcher, &QFutureWatcher<void>::finished, &loop, &QEventLoop::quit);
    watcher.setFuture(QtConcurrent::run([assistant, call] { assistant->LoginByAccount(call->input, call->output); }));
    call.reset();
    loop.exec();
    if (watcher.isFinished())
        return;
    // The application quits. The call must not write into output any more, and nobody will ask this service again.
    assistant->UnInitialize();
    watcher.waitForFinished();
}

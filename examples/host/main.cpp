// A host: loads the visualized service, binds it, calls one of its operations and ends it.
#include "tarn/factory/IServiceObjectCreator.h"
#include "tarn/factory/ObjectFactory.h"
#include "tarn/keys/HubKeys.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/plugin/IPlugin.h"
#include "tarn/rpc/HubPort.h"
#include "tarn/rpc/Rpc.h"
#include "tarn/visualized/IVisualizedService.h"
#include <QApplication>
#include <QPluginLoader>
#include <QTimer>
#include <future>

using namespace tarn;

// Operations are called over RPC, also from the same process. A call blocks, so it is not made on the GUI thread.
static bool showNotice()
{
    rpc::Rpc core;
    const QString address = QStringLiteral("127.0.0.1");
    const QString port = QString::number(rpc::hubPort());
    core.init({{rpc::keys::IP, address}, {rpc::keys::SvrIP, address}, {rpc::keys::Port, port}});
    const auto service = core.stringToProxy(visualized::DefaultTag);
    if (!service)
        return false;
    const rpc::Bag notice{{{message::key::MsgId, QStringLiteral("example")},
                           {message::key::MsgTitle, QStringLiteral("示例")},
                           {message::key::MsgContent, QStringLiteral("来自示例宿主的通知")}},
                          {}};
    return service->call(QStringLiteral("ShowNotifyMessage"), notice).accepted;
}

int main(int argc, char *argv[])
{
    qputenv("TARN_MODULE_PATH", PROGRAMS); // where the plug-in finds the client library
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);

    QPluginLoader loader(QStringLiteral(PROGRAMS "/plugins/libTARN.VisualizedService.so"));
    loader.setLoadHints(QLibrary::ResolveAllSymbolsHint | QLibrary::PreventUnloadHint);
    auto *plugin = qobject_cast<plugin::IPlugin *>(loader.instance());
    QString error = loader.errorString();
    if (!plugin || !plugin->initialize({}, error))
        qFatal("%s", qUtf8Printable(error));
    for (IRegist *registrar : ObjectFactory::regists())
        registrar->registClass();
    const auto construct = ObjectFactory::constructors().value(QStringLiteral("CVisualizedServiceCreator"));
    const QSharedPointer<QObject> owner = construct(nullptr);
    auto *creator = qobject_cast<IServiceObjectCreator *>(owner.data());
    if (!creator->create(visualized::DefaultTag))
        return 1;

    const auto shown = std::async(std::launch::async, showNotice);
    QTimer::singleShot(3000, &app, &QApplication::quit);
    QApplication::exec();
    creator->destroy(visualized::DefaultTag);
    return shown.valid() ? 0 : 1;
}

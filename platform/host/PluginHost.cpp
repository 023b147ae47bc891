#include "host/PluginHost.h"
#include "host/MissingHubNotice.h"
#include "tarn/factory/IServiceObjectCreator.h"
#include "tarn/factory/ObjectFactory.h"
#include "tarn/osgi/IBundleActivator.h"
#include "tarn/osgi/IBundleContext.h"
#include "tarn/plugin/IPlugin.h"
#include "tarn/rpc/HubPort.h"
#include "tarn/visualized/IVisualizedService.h"
#include <QDir>
#include <QJsonArray>
#include <QPluginLoader>
#include <QRegularExpression>
#include <algorithm>
#include <array>
#include <optional>

namespace {
constexpr int FirstRetryMs = 1000;
constexpr int LastRetryMs = 4000;
constexpr int TellMs = 10000; // shorter troubles end by themselves

const QString Creator = QStringLiteral("CVisualizedServiceCreator");
const QString &Tag = tarn::visualized::DefaultTag;
// Plug-ins built for an older interface of the same major version go on working.
const QString HostVersion = QStringLiteral("1.0.0");

/// A version of three numbers and nothing else; empty otherwise. Not QVersionNumber: GCC 12 compiles this function with
/// -O2 and more so that the copies of Qt 5.15's class lose their numbers, and the host refuses its own plug-in.
std::optional<std::array<int, 3>> versionOf(const QString &text)
{
    static const QRegularExpression form(QStringLiteral("\\A([0-9]{1,6})\\.([0-9]{1,6})\\.([0-9]{1,6})\\z"));
    const QRegularExpressionMatch match = form.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    return std::array<int, 3>{match.captured(1).toInt(), match.captured(2).toInt(), match.captured(3).toInt()};
}

QString keyRefusal(const QJsonObject &map)
{
    for (const char *name : {"Category", "CompatVersion", "Copyright", "Description", "ErrorHandling", "Name", "Url",
                             "Vendor", "Version"}) {
        if (!map.value(QLatin1String(name)).isString())
            return QStringLiteral("key \"%1\" is missing or no string").arg(QLatin1String(name));
    }
    for (const char *name : {"Category", "Description", "ErrorHandling", "Name"}) {
        if (map.value(QLatin1String(name)).toString().isEmpty())
            return QStringLiteral("key \"%1\" is empty").arg(QLatin1String(name));
    }
    if (!map.value(QStringLiteral("DisabledByDefault")).isBool())
        return QStringLiteral("key \"DisabledByDefault\" is missing or no boolean");
    const QJsonValue licences = map.value(QStringLiteral("License"));
    const QJsonArray items = licences.toArray();
    if (!licences.isArray() ||
        !std::all_of(items.begin(), items.end(), [](const auto &item) { return item.isString(); }))
        return QStringLiteral("key \"License\" is missing or no array of strings");
    for (const char *name : {"Version", "CompatVersion"}) {
        const QString text = map.value(QLatin1String(name)).toString();
        if (!versionOf(text))
            return QStringLiteral("key \"%1\" is no version number: \"%2\"").arg(QLatin1String(name), text);
    }
    const QString needed = map.value(QStringLiteral("CompatVersion")).toString();
    const auto oldest = versionOf(needed).value();
    const auto host = versionOf(HostVersion).value();
    if (oldest.front() != host.front() || oldest > host)
        return QStringLiteral("it needs a host of version %1, this one is %2").arg(needed, HostVersion);
    return QString();
}

/// The facts about a bundle that this host passes to it.
class BundleContext final : public tarn::osgi::IBundleContext
{
public:
    BundleContext(QString name, QString file)
        : m_name(std::move(name))
        , m_file(std::move(file))
    {
    }
    QString bundleName() const override { return m_name; }
    QVariant property(const QString &key) const override
    {
        return key == QLatin1String("plugin.path") ? QVariant(m_file) : QVariant();
    }

private:
    const QString m_name;
    const QString m_file;
};
} // namespace

QString pluginRefusal(const QJsonObject &metadata)
{
    if (metadata.isEmpty())
        return QStringLiteral("it is no Qt plug-in");
    const QString iid = metadata.value(QStringLiteral("IID")).toString();
    if (iid != QLatin1String(TARN_PLUGIN_IID))
        return QStringLiteral("its interface is \"%1\" instead of \"%2\"").arg(iid, QStringLiteral(TARN_PLUGIN_IID));
    if (metadata.value(QStringLiteral("className")).toString().isEmpty())
        return QStringLiteral("it names no class");
    if (!metadata.value(QStringLiteral("MetaData")).isObject())
        return QStringLiteral("key \"MetaData\" is missing");
    return keyRefusal(metadata.value(QStringLiteral("MetaData")).toObject());
}

PluginHost::PluginHost(QObject *parent)
    : QObject(parent)
{
    m_retry.setInterval(FirstRetryMs);
    connect(&m_retry, &QTimer::timeout, this, &PluginHost::createService);
}

int PluginHost::load(const QString &directory)
{
    const QDir dir(directory);
    int loaded = 0;
    const QStringList files = dir.entryList({QStringLiteral("*.so")}, QDir::Files, QDir::Name);
    for (const QString &file : files)
        loaded += int(loadFile(dir.absoluteFilePath(file)));
    return loaded;
}

bool PluginHost::loadFile(const QString &file)
{
    QPluginLoader loader(file);
    const QJsonObject metadata = loader.metaData();
    const QString reason = pluginRefusal(metadata);
    if (!reason.isEmpty()) {
        qCritical().noquote() << QStringLiteral("plug-in %1 is refused: %2").arg(file, reason);
        return false;
    }
    const QJsonObject facts = metadata.value(QStringLiteral("MetaData")).toObject();
    if (facts.value(QStringLiteral("DisabledByDefault")).toBool()) {
        qInfo().noquote() << QStringLiteral("plug-in %1 is disabled").arg(file);
        return false;
    }
    // Libraries below a plug-in keep threads and static objects that outlive it.
    loader.setLoadHints(loader.loadHints() | QLibrary::PreventUnloadHint | QLibrary::ResolveAllSymbolsHint);
    auto *plugin = qobject_cast<tarn::plugin::IPlugin *>(loader.instance());
    QString errorText = loader.errorString();
    if (!plugin || !plugin->initialize(QStringList(), errorText)) {
        qCritical().noquote() << QStringLiteral("plug-in %1 cannot be used: %2").arg(file, errorText);
        return false;
    }
    if (auto *activator = dynamic_cast<tarn::osgi::IBundleActivator *>(plugin))
        m_bundles.append(
            {activator, QSharedPointer<BundleContext>::create(facts.value(QStringLiteral("Name")).toString(), file)});
    return true;
}

void PluginHost::start()
{
    for (const Bundle &bundle : qAsConst(m_bundles))
        bundle.activator->start(bundle.context);
    m_sinceStart.start();
    constructCreator();
    createService();
}

void PluginHost::constructCreator()
{
    const QList<tarn::IRegist *> registrars = tarn::ObjectFactory::regists();
    for (tarn::IRegist *registrar : registrars)
        registrar->registClass();
    const auto constructor = tarn::ObjectFactory::constructors().value(Creator);
    m_owner = constructor ? constructor(nullptr) : QSharedPointer<QObject>();
    m_creator = qobject_cast<IServiceObjectCreator *>(m_owner.data());
    if (!m_creator)
        qWarning("no plug-in registers %s", qUtf8Printable(Creator));
}

void PluginHost::createService()
{
    // Without a hub another attempt would only fill the log.
    const bool isDue = m_creator && (!m_retry.isActive() || tarn::rpc::hubPort() != 0);
    if (!m_creator || (isDue && m_creator->create(Tag))) {
        m_retry.stop();
        delete m_notice;
        return;
    }
    if (!m_retry.isActive())
        m_retry.start();
    else if (isDue)
        m_retry.setInterval(qMin(2 * m_retry.interval(), LastRetryMs));
    tellUser();
}

void PluginHost::tellUser()
{
    const QString text = m_owner->property("startError").toString();
    if (m_told || text.isEmpty() || !m_sinceStart.hasExpired(TellMs))
        return;
    m_told = true;
    m_notice = new MissingHubNotice(text);
    m_notice->show();
}

PluginHost::~PluginHost()
{
    m_retry.stop(); // the end of the service may run an event loop
    delete m_notice;
    if (m_creator)
        m_creator->destroy(Tag);
    m_owner.reset();
    for (const Bundle &bundle : qAsConst(m_bundles))
        bundle.activator->stop(bundle.context);
}

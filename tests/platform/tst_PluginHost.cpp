#include "FontSubstitution.h"
#include "PluginHost.h"
#include "PluginMetadata.h"
#include "UnixSignals.h"
#include "support/LogCatcher.h"
#include "tarn/factory/ObjectFactory.h"
#include "tarn/osgi/IBundleActivator.h"
#include "tarn/plugin/IPlugin.h"
#include <QDir>
#include <QFile>
#include <QFontDatabase>
#include <QFontInfo>
#include <QJsonArray>
#include <QPluginLoader>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>

namespace {
QString pluginFile()
{
    return qEnvironmentVariable("TARN_BIN_DIR") + "/plugins/libTARN.VisualizedService.so";
}

QJsonObject realMetadata()
{
    return QPluginLoader(pluginFile()).metaData();
}

// The real metadata with one key of the inner map changed; an undefined value removes it.
QJsonObject changed(const QString &key, const QJsonValue &value)
{
    QJsonObject all = realMetadata();
    QJsonObject map = all.value("MetaData").toObject();
    if (value.isUndefined())
        map.remove(key);
    else
        map.insert(key, value);
    all.insert("MetaData", map);
    return all;
}
} // namespace

// The host's plug-in manager against the real plug-in file.
class TestPluginHost final : public QObject
{
    Q_OBJECT
private slots:
    void metadataIsAsAgreed();
    void wrongByOneIsRefused_data();
    void wrongByOneIsRefused();
    void otherFilesAreRefused();
    void pluginIsLoadedAndStaysLoaded();
    void signalsArrive();
    void chineseFaceStandsIn();
};

void TestPluginHost::metadataIsAsAgreed()
{
    const QJsonObject all = realMetadata();
    QCOMPARE(all.value("IID").toString(), QString("com.veltro.TARNPlugin"));
    QCOMPARE(all.value("className").toString(), QString("CVisualizedServicePlugin"));
    const QJsonObject map = all.value("MetaData").toObject();
    QCOMPARE(map.keys(), (QStringList{"Category", "CompatVersion", "Copyright", "Description", "DisabledByDefault",
                                      "ErrorHandling", "License", "Name", "Url", "Vendor", "Version"}));
    QCOMPARE(map.value("Category"), QJsonValue("产品平台"));
    QCOMPARE(map.value("CompatVersion"), QJsonValue("1.0.0"));
    QCOMPARE(map.value("Description"), QJsonValue("软件升级服务"));
    QCOMPARE(map.value("DisabledByDefault"), QJsonValue(false));
    QCOMPARE(map.value("ErrorHandling"), QJsonValue("tips"));
    QCOMPARE(map.value("License"), QJsonValue(QJsonArray{""}));
    QCOMPARE(map.value("Name"), QJsonValue("TARN.Service.Upgrade"));
    QCOMPARE(map.value("Version"), QJsonValue("1.0.0"));
    QCOMPARE(pluginmetadata::refusal(all), QString());
    QCOMPARE(pluginmetadata::bundleName(all), QString("TARN.Service.Upgrade"));
}

void TestPluginHost::wrongByOneIsRefused_data()
{
    QTest::addColumn<QJsonObject>("metadata");
    QTest::addColumn<QString>("named"); // what the reason names
    const auto top = [](const QString &key, const QJsonValue &value) {
        QJsonObject all = realMetadata();
        all.insert(key, value);
        return all;
    };
    QTest::newRow("empty") << QJsonObject() << "no Qt plug-in";
    QTest::newRow("IID") << top("IID", "com.veltro.TARNPlugin2") << "com.veltro.TARNPlugin2";
    QTest::newRow("IID, type") << top("IID", 1) << "interface";
    QTest::newRow("class") << top("className", "") << "class";
    QTest::newRow("no map") << top("MetaData", "x") << "MetaData";
    const QStringList keys = realMetadata().value("MetaData").toObject().keys();
    for (const QString &key : keys) {
        QTest::newRow(qPrintable(key + ", missing")) << changed(key, QJsonValue::Undefined) << key;
        QTest::newRow(qPrintable(key + ", type")) << changed(key, 5) << key;
        QTest::newRow(qPrintable(key + ", null")) << changed(key, QJsonValue()) << key;
    }
    for (const QString &key : {QStringLiteral("Category"), QStringLiteral("Description"), QStringLiteral("Name"),
                               QStringLiteral("ErrorHandling")})
        QTest::newRow(qPrintable(key + ", empty")) << changed(key, "") << key;
    QTest::newRow("licence of a number") << changed("License", QJsonArray{"", 1}) << "License";
    const QStringList versions{"", "1", "1.0", "1.0.0.0", "1.0.x", "1.0.0-beta", "2.0.0", "1.1.0", "0.9.0", "1.0.1"};
    for (const QString &version : versions)
        QTest::newRow(qPrintable("CompatVersion " + version)) << changed("CompatVersion", version) << version;
    QTest::newRow("version") << changed("Version", "one") << "Version";
}

void TestPluginHost::wrongByOneIsRefused()
{
    QFETCH(QJsonObject, metadata);
    QFETCH(QString, named);
    const QString reason = pluginmetadata::refusal(metadata);
    QVERIFY(!reason.isEmpty());
    QVERIFY2(reason.contains(named), qPrintable(reason));
}

void TestPluginHost::otherFilesAreRefused()
{
    const QTemporaryDir dir;
    QFile text(dir.filePath("text.so"));
    QVERIFY(text.open(QIODevice::WriteOnly));
    text.write("no library");
    text.close();
    QVERIFY(QFile::copy(qEnvironmentVariable("TARN_BIN_DIR") + "/libtarn-core.so", dir.filePath("core.so")));
    QVERIFY(QFile::copy(pluginFile(), dir.filePath("cut.so")));
    QVERIFY(QFile::resize(dir.filePath("cut.so"), 4096));
    QVERIFY(QDir().mkpath(dir.filePath("folder.so")));
    const LogCatcher log;
    PluginHost host;
    QCOMPARE(host.load(dir.path()), 0);
    int refused = 0;
    const QStringList lines = log.texts();
    for (const QString &line : lines)
        refused += line.contains("is refused: ");
    QCOMPARE(refused, 3);
    QCOMPARE(host.load(dir.filePath("nowhere")), 0);
}

void TestPluginHost::pluginIsLoadedAndStaysLoaded()
{
    PluginHost host;
    QCOMPARE(host.load(QFileInfo(pluginFile()).path()), 1);
    QCOMPARE(tarn::ObjectFactory::regists().size(), 1);
    QPluginLoader loader(pluginFile());
    QObject *instance = loader.instance();
    QCOMPARE(instance->metaObject()->className(), "CVisualizedServicePlugin");
    QVERIFY(qobject_cast<tarn::plugin::IPlugin *>(instance));
    QVERIFY(dynamic_cast<tarn::osgi::IBundleActivator *>(instance));
    QVERIFY(loader.loadHints().testFlag(QLibrary::PreventUnloadHint));
    tarn::ObjectFactory::regists().first()->registClass();
    QVERIFY(tarn::ObjectFactory::constructors().contains("CVisualizedServiceCreator"));
    QVERIFY(tarn::ObjectFactory::pointerTypeConstructors().contains("CVisualizedServiceCreator"));
}

void TestPluginHost::signalsArrive()
{
    const UnixSignals signalSource;
    QSignalSpy spy(&signalSource, &UnixSignals::terminationRequested);
    for (const int signal : {SIGTERM, SIGINT}) {
        spy.clear();
        ::raise(signal);
        QTRY_COMPARE(spy.size(), 1);
    }
}

void TestPluginHost::chineseFaceStandsIn()
{
    const QFontDatabase fonts;
    if (fonts.hasFamily("Microsoft YaHei") || fonts.families(QFontDatabase::SimplifiedChinese).isEmpty())
        QSKIP("needs a machine with another Chinese face");
    substituteMissingFonts();
    const QString family = QFontInfo(QFont("微软雅黑")).family();
    QVERIFY(fonts.families(QFontDatabase::SimplifiedChinese).contains(family));
    QCOMPARE(QFontInfo(QFont("Microsoft YaHei")).family(), family);
}

QTEST_MAIN(TestPluginHost)
#include "tst_PluginHost.moc"

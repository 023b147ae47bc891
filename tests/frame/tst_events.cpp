#include "frame/VisualizedEvents.h"
#include "support/Args.h"
#include "tarn/cloud/ICloudLoginNotify.h"
#include <QTest>

// Events and what they carry: numbers that other libraries rely on, and who frees what.
class TestEvents final : public QObject
{
    Q_OBJECT
private slots:
    void numbersAreFixed();
    void nullDataIsHarmless();
    void dataGoesWithTheEvent();
    void argumentsOutliveTheEventWhereCopied();
    void queuedEventsGoWithTheReceiver();
};

void TestEvents::numbersAreFixed()
{
    QCOMPARE(int(CVisualizedEvents::eShowNotifyMsgDialog), 1948);
    QCOMPARE(int(CVisualizedEvents::eShowCloudLoginDialog), 1949);
    QCOMPARE(int(CVisualizedEvents::eShowNetLockLoginDialog), 1950);
    QCOMPARE(int(CVisualizedEvents::eShowMessageCenterDialog), 1951);
    QCOMPARE(int(CVisualizedEvents::eNotifyLicParentFinish), 1952);
    QCOMPARE(int(CVisualizedEvents::eNotifyCloudParentFinish), 1953);
    QCOMPARE(int(CVisualizedEvents::eShowUpgradeExplainDialog), 1954);
    QCOMPARE(int(CVisualizedEvents::eShowAutoCheckUpdateDialog), 1955);
    QCOMPARE(int(CVisualizedEvents::eShowUpgradeDownloadDialog), 1956);
    QCOMPARE(int(CVisualizedEvents::eShowUpgradeCurExplainDialog), 1957);
    QCOMPARE(int(CVisualizedEvents::eShowSilentPatchInstallDialog), 1958);
}

void TestEvents::nullDataIsHarmless()
{
    const CVisualizedEvents event(CVisualizedEvents::eShowNotifyMsgDialog, nullptr);
    QVERIFY(!event.GetEventData());
}

void TestEvents::dataGoesWithTheEvent()
{
    auto input = args::input<args::CloudIn>();
    const QWeakPointer<args::CloudIn> watch(input);
    auto *event = new CVisualizedEvents(CVisualizedEvents::eShowCloudLoginDialog,
                                        new CCloudLoginEventData(input, nullptr, true, 7));
    const QPointer<IVisualizedEventData> data(event->GetEventData());
    input.clear();
    QVERIFY(!watch.isNull());
    delete event;
    QVERIFY(!data);
    QVERIFY(watch.isNull());
}

void TestEvents::argumentsOutliveTheEventWhereCopied()
{
    QSharedPointer<IMessageService_InputArgs> kept;
    {
        const CVisualizedEvents event(
            CVisualizedEvents::eShowMessageCenterDialog,
            new CMsgCenterEventData(args::input<args::MessageIn>({{QStringLiteral("k"), 1}})));
        kept = dynamic_cast<CMsgCenterEventData *>(event.GetEventData())->inputArgs;
    }
    QCOMPARE(kept->GetValue(QStringLiteral("k")).toInt(), 1);
}

void TestEvents::queuedEventsGoWithTheReceiver()
{
    auto input = args::input<args::SoftIn>();
    const QWeakPointer<args::SoftIn> watch(input);
    auto *receiver = new QObject;
    QCoreApplication::postEvent(receiver, new CVisualizedEvents(CVisualizedEvents::eShowUpgradeDownloadDialog,
                                                                new CUpgradeDownloadEveData(input)));
    input.clear();
    delete receiver;
    QVERIFY(watch.isNull());
}

QTEST_GUILESS_MAIN(TestEvents)
#include "tst_events.moc"

#include "frame/VtServiceClient.h"
#include "support/BoxScript.h"
#include "support/FakeClient.h"
#include "upgrade/ExplainItem.h"
#include "upgrade/Requests.h"
#include "upgrade/UpdateCurExplainDialog.h"
#include "upgrade/UpdateExplainDial.h"
#include "widgets/QuestionMessageBox.h"
#include <QAccessible>
#include <QTabBar>
#include <QTabWidget>

using namespace request;

namespace {

using Input = QSharedPointer<IUpgaredSoftInfoService_InputParam>;

const QString Question = "您取消了版本更新，检测到您当前使用的软件版本存在可升级的补丁，是否进行补丁升级？";

QVariantMap withPatch(const QVariantMap &changes = {})
{
    QVariantMap record = released("产品");
    QVariantMap patch = section("产品", "1.0.3");
    for (auto it = changes.cbegin(); it != changes.cend(); ++it)
        patch.insert(it.key(), it.value());
    record.insert("旧版本补丁包", patch);
    return record;
}

QVariantMap fromThePrompt()
{
    QVariantMap record = withPatch();
    record.insert("visualized", true);
    return record;
}

Input input(const QVariantList &records)
{
    return args::input<args::SoftIn>({}, records);
}

QStringList titlesOf(const QWidget &dialog)
{
    QStringList titles;
    const auto *tabs = dialog.findChild<QTabWidget *>();
    for (int i = 0; i < tabs->count(); ++i)
        titles << tabs->tabText(i);
    return titles;
}

template <class Dialog>
std::unique_ptr<Dialog> made(const Input &param)
{
    auto dialog = std::make_unique<Dialog>(param);
    dialog->InitDialog();
    return dialog;
}

} // namespace

class TestUpdateNotes final : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { FakeClient::install(); }

    void init()
    {
        CVtServiceClient::GetInstance();
        FakeClient::fake().reset();
        m_log = std::make_unique<LogCatcher>();
    }

    void cleanup()
    {
        m_log.reset();
        CVisualizedManager::FreeInstance();
        processDeletions();
        QVERIFY(QApplication::topLevelWidgets().isEmpty());
    }

    void tabs()
    {
        QVariantMap record = withPatch();
        record.insert("补丁包", section("补丁", "2.0.1"));
        record.insert("插件", QVariantList{section("插件一", "3"), QVariantMap(), 5, section("插件&二", "4")});
        const auto dialog = made<CUpdateExplainDial>(input({record}));
        QCOMPARE(titlesOf(*dialog), (QStringList{"产品", "补丁", "插件一", "插件&&二"}));
        dialog->InitDialog(); // a second time does nothing
        QAccessibleInterface *bar = QAccessible::queryAccessibleInterface(dialog->findChild<QTabBar *>());
        QCOMPARE(bar->child(3)->text(QAccessible::Description), QString("插件&二")); // no markup by ear
        QCOMPARE(dialog->findChildren<CExplainItem *>().size(), 4);
        const auto patch = made<CUpdateCurExplainDialog>(input({record}));
        QCOMPARE(titlesOf(*patch), QStringList{"产品"});
        QVERIFY(titlesOf(*made<CUpdateCurExplainDialog>(input({released("产品")}))).isEmpty());
        patch->connectUpdateBtn(nullptr);
        QCOMPARE(m_log->texts(QtCriticalMsg),
                 QStringList{"旧版本补丁更新说明窗口按钮连接信号失败，原因：按钮对象为空"});
    }

    void tabTitles()
    {
        const QString eighteen = "远帆仿真与结构分析平台专业版软件插件";
        const auto fits = [](const QString &name, int count) {
            const QVariantList plugins = QVector<QVariant>(count, section(name, "3")).toList();
            const auto dialog = made<CUpdateExplainDial>(input({QVariantMap{{"软件名称", "产品"}, {"插件", plugins}}}));
            dialog->show();
            const QTabBar *bar = dialog->findChild<QTabWidget *>()->tabBar();
            const int width = bar->fontMetrics().horizontalAdvance(bar->tabText(0)) + 32;
            return bar->count() == qMin(count, 64) && bar->width() <= dialog->width() - 32 &&
                   width <= bar->tabRect(0).width() && bar->tabRect(bar->count() - 1).right() <= bar->width();
        };
        QVERIFY(fits(eighteen, 2) && !fits(eighteen, 70));
        QCOMPARE(m_log->count(QtWarningMsg, "更新说明中的插件过多，共70个，只显示前64个"), 1);
        QVERIFY(!fits(QString(5000, QChar(0x540D)), 1));
        QCOMPARE(titlesOf(*made<CUpdateExplainDial>(input({released(" 产\n品  1")}))), QStringList{" 产 品  1"});
    }

    void typingGuardOnlyWhereUnasked()
    {
        const auto isGuarded = [](CUpdateExplainDial &dialog) {
            dialog.show();
            dialog.setFocus();
            QTest::keyClick(&dialog, Qt::Key_Tab);
            return dialog.focusWidget() == &dialog; // the key has been dropped
        };
        QVERIFY(isGuarded(*made<CUpdateExplainDial>(input({withPatch()}))));
        QVERIFY(!isGuarded(*made<CUpdateExplainDial>(input({fromThePrompt()}))));
        QVERIFY(!isGuarded(*made<CUpdateCurExplainDialog>(input({withPatch()}))));
    }

    void installedVersion()
    {
        const auto versions = [](const QVariantMap &record) {
            made<CUpdateExplainDial>(input({record}))->OnUpdateAhead();
            made<CUpdateCurExplainDialog>(input({record}))->OnUpdateAhead();
            QStringList sent;
            for (const QVariantMap &values : FakeClient::callsOf("StartDownload"))
                sent << values.value("CurrentVersion").toString();
            FakeClient::fake().reset();
            return sent;
        };
        const auto version = [](const char *text) { return QVariantMap{{"CurrentVersion", QString::fromUtf8(text)}}; };
        QVariantMap record{{"旧版本补丁包", QVariantMap{{"CurrentVersion", "0.9"}, {"升级版本", "1"}}},
                           {"软件", version("1.0")}};
        QCOMPARE(versions(record), (QStringList{"1.0", "0.9"}));
        record.insert("CurrentVersion", "2.0");
        QCOMPARE(versions(record), (QStringList{"2.0", "0.9"}));
        QCOMPARE(versions({{"插件", QVariantList{version("7")}}, {"旧版本补丁包", QVariantMap{{"升级版本", "1"}}}}),
                 (QStringList{"", ""})); // a plug-in's version is not the product's
    }

    void invalidRequest()
    {
        for (const Input &param : {Input(), input({withPatch(), withPatch()})}) {
            const QString expected = QString::fromUtf8(param ? "获取软件的升级信息失败" : "软件升级信息为空");
            const auto notes = made<CUpdateExplainDial>(param);
            const auto patch = made<CUpdateCurExplainDialog>(param);
            for (CUpdateExplainDial *dialog : {notes.get(), static_cast<CUpdateExplainDial *>(patch.get())}) {
                QVERIFY(!dialog->NeedUpdateCurPatch());
                dialog->show();
                m_log->clear();
                BoxScript::press(dialog, "updateButton");
                QVERIFY(!dialog->isVisible());
                QVERIFY(m_log->has(QtCriticalMsg, expected));
            }
        }
        QVERIFY(FakeClient::fake().operations().isEmpty());
    }

    void whenThePatchIsOffered()
    {
        const auto offered = [](const QVariantMap &record) {
            return made<CUpdateExplainDial>(input({record}))->NeedUpdateCurPatch();
        };
        QVERIFY(offered(withPatch()));
        QVERIFY(!offered(fromThePrompt()));
        QVERIFY(!offered(released("产品")));
        QVERIFY(!offered(withPatch({{"是否强制更新", true}})));
        QVERIFY(!offered(withPatch({{"软件名称", ""}})));
        const auto dialog = made<CUpdateExplainDial>(input({withPatch()}));
        dialog->SetTipFlag(false);
        QVERIFY(!dialog->NeedUpdateCurPatch());
    }

    void closingAsks()
    {
        const QList<std::function<void(QDialog *)>> ways{
            [](QDialog *dialog) { BoxScript::press(dialog, "closeButton"); },
            [](QDialog *dialog) { BoxScript::press(dialog, "declineButton"); },
            [](QDialog *dialog) { dialog->windowHandle()->close(); }, [](QDialog *dialog) { dialog->reject(); }};
        for (int way = 0; way < ways.size(); ++way) {
            const QString answer = QString::fromUtf8(way % 2 ? "是" : "否");
            sendNotes(withPatch());
            const QPointer<CUpdateExplainDial> dialog(onlyWindow<CUpdateExplainDial>());
            BoxScript boxes({[&](QDialog *box) {
                QCOMPARE(box->accessibleDescription(), QString("产品"));
                BoxScript::press(box, answer);
            }});
            ways.at(way)(dialog);
            QVERIFY(boxes.isDone());
            QCOMPARE(boxes.texts, QStringList{Question});
            processDeletions();
            QVERIFY(!dialog);
            auto *patch = onlyWindow<CUpdateCurExplainDialog>();
            QCOMPARE(patch != nullptr, way % 2 == 1);
            if (patch)
                QCOMPARE(titlesOf(*patch), QStringList{"产品"});
            CVisualizedManager::FreeInstance();
        }
    }

    void updateStartsTheDownload()
    {
        QVariantMap record = withPatch();
        record.insert("补丁包", section("补丁", "2.0.1"));
        record.insert("插件", QVariantList{section("插件一", "3")});
        sendNotes(record);
        const QPointer<CUpdateExplainDial> dialog(onlyWindow<CUpdateExplainDial>());
        const BoxScript boxes;
        BoxScript::press(dialog, "updateButton");
        QCOMPARE(boxes.unexpected, 0); // no question
        QCOMPARE(FakeClient::fake().operations(), QStringList{"StartDownload"});
        QCOMPARE(FakeClient::fake().calls().first().values, (QVariantMap{{"软件名称", "产品"},
                                                                         {"CurrentVersion", "1.0"},
                                                                         {"软件", record.value("软件")},
                                                                         {"补丁包", record.value("补丁包")},
                                                                         {"插件", record.value("插件")}}));
        QVERIFY(m_log->has(QtInfoMsg, "调用开始下载软件安装接口成功。"));
        processDeletions();
        QVERIFY(!dialog);

        const auto patch = made<CUpdateCurExplainDialog>(input({record}));
        BoxScript::press(patch.get(), "updateButton");
        QCOMPARE(FakeClient::fake().calls().last().values,
                 (QVariantMap{{"软件名称", "产品"},
                              {"CurrentVersion", "1.0"},
                              {"升级版本", "1.0.3"},
                              {"旧版本补丁包", record.value("旧版本补丁包")}}));
        const auto none = made<CUpdateCurExplainDialog>(input({released("产品")})); // no patch: it only closes
        none->show();
        BoxScript::press(none.get(), "updateButton");
        QVERIFY(!none->isVisible() && m_log->has(QtCriticalMsg, "获取软件的升级信息失败"));
        QCOMPARE(FakeClient::fake().operations().size(), 2);
    }

    void downloadFailures()
    {
        const BoxScript noBoxes;
        FakeClient::fake().queue("StartDownload", {1009, "坏%1"});
        made<CUpdateExplainDial>(input({withPatch()}))->OnUpdateAhead();
        FakeClient::fake().setAvailable(false);
        made<CUpdateExplainDial>(input({withPatch()}))->OnUpdateAhead();
        QCOMPARE(
            m_log->texts(QtCriticalMsg),
            (QStringList{"【统一服务升级下载线程】调用开始下载接口rpc通信失败，返回错误码为：1009，错误信息为：坏%1。",
                         "获取在线升级服务失败"}));
    }

    void onePerProduct()
    {
        const BoxScript boxes;
        for (int i = 0; i < 80; ++i) { // closed windows do not count as open ones
            QVariantMap record = i % 2 ? released(QString()) : withPatch();
            record.insert("软件名称", QString::number(i));
            sendNotes(record, i % 2 ? CVisualizedEvents::eShowUpgradeExplainDialog
                                    : CVisualizedEvents::eShowUpgradeCurExplainDialog);
            QVERIFY(onlyWindow<CUpdateExplainDial>());
            onlyWindow<CUpdateExplainDial>()->close();
            processDeletions();
        }
        for (int i = 0; i < 10; ++i)
            sendNotes(withPatch());
        sendNotes(released("另一个"));
        processDeletions();
        QCOMPARE(boxes.unexpected, 0); // a dialog that is replaced asks nothing
        QCOMPARE(windows<CUpdateExplainDial>().size(), 2);
        sendNotes({{"软件名称", "产品"}}); // nothing in it: the old one is closed all the same
        processDeletions();
        QCOMPARE(windows<CUpdateExplainDial>().size(), 1);
        QVERIFY(m_log->has(QtCriticalMsg, "软件更新提示框异常退出：数据为空"));
    }

    void deathsWhileItAsks()
    {
        for (const bool destroyed : {true, false}) { // with the manager; else it is replaced
            sendNotes(withPatch());
            const QPointer<CUpdateExplainDial> old(onlyWindow<CUpdateExplainDial>());
            BoxScript boxes({[&](QDialog *box) {
                const QPointer<QDialog> question(box);
                if (destroyed)
                    CVisualizedManager::FreeInstance();
                else
                    sendNotes(withPatch());
                QTRY_VERIFY(!question || !question->isVisible()); // it is withdrawn
            }});
            old->close();
            processDeletions();
            QVERIFY(boxes.isDone() && !old);
            QCOMPARE(windows<CUpdateExplainDial>().size(), destroyed ? 0 : 1);
        }
        const QPointer<CUpdateExplainDial> now(onlyWindow<CUpdateExplainDial>());
        QVERIFY(now && now->isVisible() && !qobject_cast<CUpdateCurExplainDialog *>(now.data()));
        sendNotes(withPatch()); // the manager still knows the new one
        processDeletions();
        QVERIFY(!now && onlyWindow<CUpdateExplainDial>());
    }

    void patchNotesNeverAsk()
    {
        sendNotes(withPatch(), CVisualizedEvents::eShowUpgradeCurExplainDialog);
        const QPointer<CUpdateCurExplainDialog> dialog(onlyWindow<CUpdateCurExplainDialog>());
        const BoxScript boxes;
        BoxScript::press(dialog, "closeButton");
        processDeletions();
        QVERIFY(boxes.isDone() && !dialog);
        sendNotes(withPatch()); // the manager has forgotten it
        QVERIFY(onlyWindow<CUpdateExplainDial>());
    }

private:
    std::unique_ptr<LogCatcher> m_log;
};

QTEST_MAIN(TestUpdateNotes)
#include "tst_update_notes.moc"

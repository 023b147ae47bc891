#include "frame/VtServiceClient.h"
#include "support/BoxScript.h"
#include "support/EventRecorder.h"
#include "support/FakeClient.h"
#include "upgrade/CUpdateItem.h"
#include "upgrade/CheckUpdateDial.h"
#include "upgrade/Requests.h"
#include "upgrade/SelectWidget.h"
#include "upgrade/UpdateRecords.h"
#include "widgets/CustomMessageBox.h"
#include <QAccessible>
#include <QScrollArea>

using namespace request;

namespace {

// A prompt without the manager.
class Prompt final : public CCheckUpdateDial
{
public:
    explicit Prompt(const QVariantList &records)
        : CCheckUpdateDial(args::input<args::SoftIn>({}, records))
    {
    }
    QList<CUpdateItem *> rows() const { return findChildren<CUpdateItem *>(); }
    QStringList rowNames() const
    {
        QStringList names;
        for (const CUpdateItem *row : rows())
            names << row->accessibleName();
        return names;
    }
    CUpdateItem *row(const QString &name) const { return rows().value(rowNames().indexOf(name)); }
};

} // namespace

class TestCheckUpdate final : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { FakeClient::install(); }

    void init()
    {
        FakeClient::fake().reset();
        CVtServiceClient::GetInstance();
        FakeClient::fake().reset(); // forgets the initialisation
        m_log = std::make_unique<LogCatcher>();
    }

    void cleanup()
    {
        m_log.reset();
        CVisualizedManager::FreeInstance();
        processDeletions();
        const QWidgetList left = QApplication::topLevelWidgets();
        qDeleteAll(left); // a failure stays with its function
        QVERIFY(left.isEmpty());
    }

    void newestFirst()
    {
        const auto dated = [](const char *date) { return QVariantMap{{"发布日期", QString::fromLatin1(date)}}; };
        QList<QVariant> records{QVariantMap{{"软件", dated("2026-01-01 00:00:00")},
                                            {"补丁包", dated("2026-02-01 00:00:00")},
                                            {"插件", QVariantList{5, dated("1950-03-01 00:00:00")}}},
                                // An old patch is no news, and whatever was under the key before is replaced.
                                QVariantMap{{"旧版本补丁包", dated("2026-04-01 00:00:00")}, {"UPDATE_TIME", "2026"}},
                                QVariantMap{{"补丁包", dated("1950-01-01 00:00:00")}},
                                QVariantMap{{"软件", dated("2026-03-01 00:00:00")}}};
        for (const char *bad : {"2027/01/01 10:00:00", "2027-01-01", "2027-02-30 10:00:00", "2027-02-03 10:00:00Z"})
            records.prepend(QVariantMap{{"软件", dated(bad)}});
        SortByUpdateTime(records);
        QStringList times;
        for (const QVariant &record : qAsConst(records))
            times << record.toMap().value("UPDATE_TIME").toString();
        // Without a date a record is earlier than any, also than dates before 1970.
        QCOMPARE(times, (QStringList{"2026-03-01 00:00:00", "2026-02-01 00:00:00", "1950-01-01 00:00:00", "", "", "",
                                     "", ""}));
        const auto before = [&](int a, int b) { return compareByUpdateTime(records.at(a), records.at(b)); };
        QVERIFY(before(0, 1) && !before(0, 0) && before(2, 7) && !before(7, 2));
    }

    void tipsOfARow()
    {
        const auto tips = [](const QVariantMap &record) { return CUpdateItem(record).GetTipsString(); };
        const QVariantMap version{{"升级版本", "2.0"}};
        const QVariantMap patch{{"升级版本", "%1%2"}};
        const QVariantList two{QVariantMap(), 7};
        QCOMPARE(tips({{"软件", version}, {"补丁包", patch}}), QString("软件存在新版本：V%1%2")); // the patch wins
        QCOMPARE(tips({{"插件", two}}), QString("2个插件存在新版本"));
        QCOMPARE(tips({{"软件", version}, {"插件", two}}), QString("软件和2个插件存在新版本"));
        QCOMPARE(tips({{"软件", QVariantMap{{"软件名称", "x"}}}}), QString());
        QCOMPARE(tips({{"软件", 5}, {"补丁包", "x"}, {"插件", QVariantMap()}}), QString());
    }

    void rowsAndWindow()
    {
        const Prompt prompt({released("旧", "2026-01-01 00:00:00"), released("新", "2026-03-01 00:00:00"),
                             released("岚川软件助手"), released("岚川软件助手 2", "2026-02-01 00:00:00")});
        // Only the assistant's exact name is left out here; the manager drops whatever contains it from its own count only.
        QCOMPARE(prompt.rowNames(), (QStringList{"新", "岚川软件助手 2", "旧"}));
        QVERIFY(prompt.testAttribute(Qt::WA_ShowWithoutActivating));
        QVERIFY(prompt.row("新")->findChild<QLabel *>("updateTips")->toolTip().isEmpty());
        QCOMPARE(m_log->texts(QtInfoMsg),
                 (QStringList{"正在展示的需要更新软件信息数量:4", "自动检测升级显示软件:新",
                              "自动检测升级显示软件:岚川软件助手 2", "自动检测升级显示软件:旧"}));
    }

    void recordsFromOutside()
    {
        QVariantMap older = released("双", "2020-01-01 00:00:00");
        older.insert("SoftBytes", "32");
        const QString html = "<img src='/dev/zero'><b>名称</b> %1 %2 & &x" + QString(10000, QChar(0x540D));
        Prompt prompt({5, QVariantList(), released(""), older, released("双"), released(html)});
        QCOMPARE(prompt.rows().size(), 2); // one row for one name
        QCOMPARE(m_log->texts(QtWarningMsg).size(), 4);
        prompt.show();
        for (const CUpdateItem *row : prompt.rows()) {
            const auto *label = row->findChild<QLabel *>("productName");
            QCOMPARE(label->textFormat(), Qt::PlainText);
            QVERIFY(label->toolTip() == "双" || (label->toolTip().size() < 8000 && !label->toolTip().contains("<img")));
            QVERIFY(!label->accessibleDescription().contains("<p"));
        }
        prompt.DoIgnreUpdate("双", {});
        QCOMPARE(FakeClient::fake().calls().first().values.value("软件位数"), QVariant("64")); // the newer one
        QVERIFY(CCheckUpdateDial(nullptr).findChildren<CUpdateItem *>().isEmpty());
    }

    // Six rows, of which three are in view.
    void keyboardAndScreenReader()
    {
        QVariantList records;
        QStringList expected;
        for (int i = 0; i < 6; ++i) {
            const QString name = QString("产品%1").arg(i);
            records << released(name, QString("2026-01-0%1 00:00:00").arg(9 - i));
            expected << name + "updateButton" << name + "notesButton";
        }
        expected << "ignoreAllButton"
                 << "managerButton"
                 << "closeButton" << expected.first();
        Prompt prompt(records);
        prompt.show();
        QTRY_COMPARE(prompt.rowNames().size(), 6);
        auto *area = prompt.findChild<QScrollArea *>("rowArea");
        QTest::mouseClick(&prompt, Qt::LeftButton, {}, QPoint(20, 60)); // from now on the keys are meant for the prompt
        prompt.setFocus();
        for (const QString &stop : qAsConst(expected)) {
            QTest::keyClick(prompt.focusWidget(), Qt::Key_Tab);
            const QWidget *now = prompt.focusWidget();
            const bool isInRow = area->isAncestorOf(now);
            QCOMPARE((isInRow ? now->accessibleDescription() : QString()) + now->objectName(), stop);
            const QRect shown(now->mapTo(&prompt, QPoint()), now->size());
            QVERIFY2(!isInRow || area->geometry().contains(shown), qPrintable(stop));
        }
        QAccessibleInterface *list = QAccessible::queryAccessibleInterface(prompt.findChild<QWidget *>("rowList"));
        QCOMPARE(list->role(), QAccessible::List);
        QCOMPARE(list->childCount(), 6);
        QCOMPARE(list->child(5)->role(), QAccessible::ListItem);
        QCOMPARE(list->child(5)->text(QAccessible::Name), QString("产品5"));
    }

    void clickedRowIsMarked()
    {
        Prompt prompt({released("甲"), released("乙")});
        prompt.show();
        prompt.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&prompt));
        const auto border = [&](const QString &name) { // of the row's background, in the middle of its left edge
            auto *ground = prompt.row(name)->findChild<CSelectWidget *>();
            return ground->grab().toImage().pixelColor(0, ground->height() / 2);
        };
        const QColor marked(48, 134, 213);
        QTest::mouseClick(prompt.row("甲"), Qt::LeftButton);
        QCOMPARE(border("甲"), marked);
        QTest::mouseClick(prompt.row("乙"), Qt::LeftButton);
        QCOMPARE(border("乙"), marked);
        QVERIFY(border("甲") != marked);
        const auto *name = prompt.row("甲")->findChild<QLabel *>("productName");
        for (const QEvent::Type type : {QEvent::Enter, QEvent::Leave}) {
            QEvent event(type);
            QCoreApplication::sendEvent(prompt.row("甲"), &event);
            QCOMPARE(name->styleSheet().isEmpty(), type == QEvent::Leave);
        }
    }

    void updateRemovesTheRow()
    {
        QPointer<Prompt> prompt(new Prompt({released("甲"), released("乙")}));
        prompt->setAttribute(Qt::WA_DeleteOnClose);
        prompt->show();
        m_log->clear();
        BoxScript::press(prompt->row("甲"), "立即升级");
        // The check before an update always fails here, so the row is only removed.
        QCOMPARE(m_log->texts(),
                 (QStringList{"【右下角检测升级对话框】用户点击单个软件的立即升级，当前点击的软件名称为：甲。",
                              "【右下角检测升级对话框】隐藏点击的软件更新项。", "初始化版本检测请求参数失败",
                              "执行升级前，再次检测未检测到新版本"}));
        QVERIFY(prompt->row("甲")->isHidden() && prompt->isVisible());
        QVERIFY(FakeClient::fake().operations().isEmpty());
        BoxScript::press(prompt->row("乙"), "立即升级");
        processDeletions();
        QVERIFY(!prompt);
    }

    void notesAreAskedOfTheManager()
    {
        Prompt prompt({released("甲")});
        prompt.show();
        EventRecorder recorder(CVisualizedManager::GetInstance());
        BoxScript::press(prompt.row("甲"), "更新说明");
        QVariantList list;
        const QList<int> types = recorder.take([&](CVisualizedEvents &event) {
            list = dynamic_cast<CUpgradeExplainEveData &>(*event.GetEventData()).inputArgs->GetValueList();
        });
        QCOMPARE(types, QList<int>{CVisualizedEvents::eShowUpgradeExplainDialog});
        QCOMPARE(list.size(), 1);
        const QVariantMap record = list.first().toMap();
        QCOMPARE(record.value("visualized"), QVariant(true));
        QCOMPARE(record.value("自带"), QVariant("x"));
        QVERIFY(!record.contains("补丁包")); // a section that was missing would get a tab
        QCOMPARE(record.value("软件").toMap().value("本地已安装版本"), QVariant("1.0"));
        QVERIFY(prompt.isVisible() && !prompt.row("甲")->isHidden());
    }

    void ignoreAll()
    {
        QVariantMap a = released("a");
        a.insert("插件", QVariantList{section("p", "3")});
        a.insert("旧版本补丁包", section("a", "1.0.1"));
        Prompt prompt({released("b"), a});
        prompt.show();
        m_log->clear();
        FakeClient::fake().queue("IgnoreUpgrade", {1002, "坏 %2"});
        BoxScript::press(&prompt, "全部忽略");
        QVERIFY(!prompt.isVisible());
        QCOMPARE(m_log->texts(), // one failure does not stop the others
                 (QStringList{"用户点击全部忽略，当前忽略软件数量为：2。",
                              "【检测升级窗口】调用忽略升级接口失败。返回错误码为：1002，错误信息为：坏 %2。",
                              "调用忽略升级接口成功。"}));
        const auto calls = FakeClient::callsOf("IgnoreUpgrade");
        QCOMPARE(calls.size(), 2);
        const QVariantMap ofA{{"忽略软件名", "a"},
                              {"忽略软件版本", ""},
                              {"软件位数", "64"},
                              {"软件", a.value("软件")},
                              {"插件", a.value("插件")}};
        QCOMPARE(calls.at(0), ofA); // in the order of the names
        QCOMPARE(calls.at(1).value("忽略软件名"), QVariant("b"));
        m_log->clear();
        prompt.DoIgnreUpdate("无 %1", "%2");
        QCOMPARE(m_log->texts(), QStringList{"忽略无 %1 V%2升级失败，没有找到相关软件信息。"});
    }

    void withoutAssistant()
    {
        FakeClient::fake().setAvailable(false);
        Prompt prompt({released("甲"), released("乙")});
        prompt.show();
        prompt.OnUpdateExplainClicked("甲");
        QVERIFY(!prompt.CheckNewVersionAgain("甲"));
        prompt.OnDoNotPromptClicked("甲", {});
        prompt.DoIgnreUpdate("甲", {});
        QCOMPARE(m_log->texts(QtCriticalMsg),
                 (QStringList{"获取在线升级服务失败", "获取在线升级服务失败",
                              "OnDoNotPromptClicked：获取在线升级服务失败", "DoIgnreUpdate：获取在线升级服务失败"}));
        QVERIFY(prompt.isVisible());
    }

    void softwareManagerNotice()
    {
        for (const bool destroyed : {false, true}) { // with the manager; else the prompt is replaced
            sendCheck({released("甲")});
            const QPointer<CCheckUpdateDial> prompt(onlyWindow<CCheckUpdateDial>());
            BoxScript boxes({BoxScript::pressing("确定"), [&](QDialog *box) {
                                 BoxScript::press(prompt, "软件管理"); // while the notice is open
                                 QCOMPARE(windows<CustomMessageBox>().size(), 1);
                                 const QPointer<QDialog> notice(box);
                                 if (destroyed)
                                     CVisualizedManager::FreeInstance();
                                 else
                                     sendCheck({released("乙")});
                                 QCOMPARE(notice && notice->isVisible(), !destroyed);
                                 if (notice)
                                     notice->reject();
                             }});
            BoxScript::press(prompt, "软件管理");
            BoxScript::press(prompt, "软件管理"); // it can be opened again
            processDeletions();
            QVERIFY(boxes.isDone() && windows<CustomMessageBox>().isEmpty() && !prompt);
            QCOMPARE(boxes.texts.first(), QString("软件管理由岚川软件助手提供，请先安装最新版本岚川软件助手。"));
            QCOMPARE(windows<CCheckUpdateDial>().size(), destroyed ? 0 : 1);
            CVisualizedManager::FreeInstance();
            processDeletions();
        }
    }

    void draggedPlaceIsKept()
    {
        sendCheck({released("甲")});
        QPointer<CCheckUpdateDial> prompt(onlyWindow<CCheckUpdateDial>());
        QVERIFY(!prompt->userPlace());
        const QPoint start = prompt->pos();
        const QPoint grip = prompt->findChild<QLabel *>("adviceLine")->geometry().center();
        QTest::mousePress(prompt->windowHandle(), Qt::RightButton, {}, grip); // any button drags
        QTest::mouseMove(prompt->windowHandle(), grip - QPoint(100, 30));
        QTest::mouseRelease(prompt->windowHandle(), Qt::RightButton, {}, grip);
        QCOMPARE(prompt->pos(), start - QPoint(100, 30));
        sendCheck({released("乙")});
        processDeletions();
        prompt = onlyWindow<CCheckUpdateDial>();
        QVERIFY(prompt && prompt->userPlace());
        QCOMPARE(prompt->pos(), start - QPoint(100, 30));
        prompt->setUserPlace(QPoint(-5000, -5000)); // on no screen
        QCOMPARE(prompt->pos(), start - QPoint(100, 30));
        prompt->close();
        sendCheck({released("丙")}); // the manager has forgotten the one that is still to be deleted
        const auto prompts = windows<CCheckUpdateDial>();
        QVERIFY(std::any_of(prompts.cbegin(), prompts.cend(), [&](auto *one) { return one->pos() == start; }));
    }

    void closingReachesTheManager()
    {
        const QList<std::function<void(QWidget *)>> ways{
            [](QWidget *prompt) { BoxScript::press(prompt, "全部忽略"); },
            [](QWidget *prompt) { QTest::mouseClick(prompt->findChild<QPushButton *>("closeButton"), Qt::LeftButton); },
            [](QWidget *prompt) { prompt->windowHandle()->close(); }};
        for (const auto &close : ways) {
            sendCheck({released("甲")}); // the manager does not hold on to the old one
            const QPointer<CCheckUpdateDial> prompt(onlyWindow<CCheckUpdateDial>());
            QVERIFY(prompt && prompt->isVisible());
            close(prompt);
            processDeletions();
            QVERIFY(!prompt);
        }
    }

    void manyRecords()
    {
        QVariantList records;
        for (int i = 0; i < 2000; ++i)
            records << released(QString("产品%1").arg(i));
        Prompt prompt(records);
        QCOMPARE(m_log->texts(QtInfoMsg).size(), 2001); // every record is known at once
        QCOMPARE(m_log->texts(QtWarningMsg), QStringList{"可升级的软件过多，共2000个，只显示前200个"});
        prompt.show();
        const auto rows = [&] { return prompt.rows().size(); };
        QVERIFY(rows() >= 3 && rows() < 100); // the other widgets follow while the window is there
        QTRY_COMPARE(rows(), 200);
        QCoreApplication::processEvents();
        QCOMPARE(rows(), 200);
        BoxScript::press(prompt.rows().first(), "立即升级");
        QCOMPARE(rows(), 201);                 // one of them hidden
        BoxScript::press(&prompt, "全部忽略"); // products without a row are ignored too
        QCOMPARE(FakeClient::fake().operations().size(), 1999);
    }

private:
    std::unique_ptr<LogCatcher> m_log;
};

QTEST_MAIN(TestCheckUpdate)
#include "tst_check_update.moc"

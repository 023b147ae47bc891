// The prompt for found updates, and the notes of one update.
#include "frame/VtServiceClient.h"
#include "support/BoxScript.h"
#include "support/EventRecorder.h"
#include "support/FakeClient.h"
#include "upgrade/CUpdateItem.h"
#include "upgrade/CheckUpdateDial.h"
#include "upgrade/Requests.h"
#include "upgrade/UpdateCurExplainDialog.h"
#include "upgrade/UpdateExplainDial.h"
#include "upgrade/UpdateRecords.h"
#include "widgets/CustomMessageBox.h"
#include <QAccessible>
#include <QScrollArea>
#include <QTabBar>
#include <QTabWidget>

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

QVariantMap withPatch(const QVariantMap &changesOfIt = {})
{
    return changed(released("产品"), {{"旧版本补丁包", changed(section("产品", "1.0.3"), changesOfIt)}});
}

QVariantMap fromThePrompt()
{
    return changed(withPatch(), {{"visualized", true}});
}

QStringList titlesOf(const QWidget &dialog)
{
    QStringList titles;
    const auto *tabs = dialog.findChild<QTabWidget *>();
    for (int i = 0; i < tabs->count(); ++i)
        titles << tabs->tabText(i);
    return titles;
}

template <class Dialog = CUpdateExplainDial>
std::unique_ptr<Dialog> made(const QVariantList &records, bool hasRequest = true)
{
    auto dialog = std::make_unique<Dialog>(hasRequest ? args::input<args::SoftIn>({}, records) : nullptr);
    dialog->InitDialog();
    return dialog;
}

} // namespace

class tst_update_windows final : public QObject
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

    void rowsOfRecords()
    {
        const QVariantMap older = changed(released("双", "2020-01-01 00:00:00"), {{"SoftBytes", "32"}});
        const QString html = "<img src='/dev/zero'><b>名称</b> %1 %2 & &x" + QString(10000, QChar(0x540D));
        Prompt prompt({5, QVariantList(), released(""), older, released("双"), released(html, "2026-03-01 00:00:00"),
                       released("岚川软件助手"), released("岚川软件助手 2", "2026-04-01 00:00:00")});
        // Only the assistant's exact name gets no row; the manager leaves every name that contains it out of its count.
        QCOMPARE(prompt.rowNames().mid(0, 2), (QStringList{"双", "岚川软件助手 2"}));
        QCOMPARE(prompt.rows().size(), 3); // one row for one name
        QCOMPARE(m_log->texts(QtInfoMsg),
                 (QStringList{"正在展示的需要更新软件信息数量:8", "自动检测升级显示软件:双",
                              "自动检测升级显示软件:岚川软件助手 2", "自动检测升级显示软件:" + html}));
        QCOMPARE(m_log->texts(QtWarningMsg).size(), 4);
        for (const QString &line : m_log->texts(QtInfoMsg))
            QCOMPARE(m_log->find(line).function, QString("InitDialog"));
        QVERIFY(prompt.testAttribute(Qt::WA_ShowWithoutActivating));
        QVERIFY(prompt.row("双")->findChild<QLabel *>("updateTips")->toolTip().isEmpty());
        prompt.show();
        for (const CUpdateItem *row : prompt.rows()) {
            const auto *label = row->findChild<QLabel *>("productName");
            QCOMPARE(label->textFormat(), Qt::PlainText);
            QVERIFY(label->toolTip().size() < 8000 && !label->toolTip().contains("<img"));
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
        const QVariantMap a = changed(
            released("a"), {{"插件", QVariantList{section("p", "3")}}, {"旧版本补丁包", section("a", "1.0.1")}});
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
        QVERIFY(prompt.isVisible());
        const BoxScript noBoxes;
        made({withPatch()})->OnUpdateAhead();
        FakeClient::fake().reset();
        FakeClient::fake().queue("StartDownload", {1009, "坏%1"});
        made({withPatch()})->OnUpdateAhead();
        QCOMPARE(m_log->texts(QtCriticalMsg),
                 (QStringList{
                     "获取在线升级服务失败", "获取在线升级服务失败", "OnDoNotPromptClicked：获取在线升级服务失败",
                     "DoIgnreUpdate：获取在线升级服务失败", "获取在线升级服务失败",
                     "【统一服务升级下载线程】调用开始下载接口rpc通信失败，返回错误码为：1009，错误信息为：坏%1。"}));
        const auto lines = m_log->lines();
        QVERIFY(std::any_of(lines.cbegin(), lines.cend(), [](const LogCatcher::Line &line) {
            return line.text == "获取在线升级服务失败" && line.function == "OnUpdateAhead";
        }));
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
                                 destroyed ? CVisualizedManager::FreeInstance() : sendCheck({released("乙")});
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
        BoxScript::press(prompt, "closeButton");
        sendCheck({released("丙")}); // the manager has forgotten the one that is still to be deleted
        const auto prompts = windows<CCheckUpdateDial>();
        QVERIFY(std::any_of(prompts.cbegin(), prompts.cend(), [&](auto *one) { return one->pos() == start; }));
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
        int most = 0;
        for (const QDeadlineTimer limit(30000); rows() < 200 && !limit.hasExpired();) {
            const int before = rows();
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
            most = qMax(most, rows() - before);
        }
        QCOMPARE(most, 50); // in one turn of the event loop
        QCOMPARE(rows(), 200);
        BoxScript::press(prompt.rows().first(), "立即升级");
        QCOMPARE(rows(), 201);                 // one of them hidden
        BoxScript::press(&prompt, "全部忽略"); // products without a row are ignored too
        QCOMPARE(FakeClient::fake().operations().size(), 1999);
    }

    void tabs()
    {
        const QVariantMap record = changed(
            withPatch(), {{"补丁包", section("补丁", "2.0.1")},
                          {"插件", QVariantList{section("插件一", "3"), QVariantMap(), 5, section("插件&二", "4")}}});
        const auto dialog = made({record});
        QCOMPARE(titlesOf(*dialog), (QStringList{"产品", "补丁", "插件一", "插件&&二"}));
        QAccessibleInterface *bar = QAccessible::queryAccessibleInterface(dialog->findChild<QTabBar *>());
        QCOMPARE(bar->child(3)->text(QAccessible::Description), QString("插件&二")); // no markup by ear
        const auto patch = made<CUpdateCurExplainDialog>({record});
        QCOMPARE(titlesOf(*patch), QStringList{"产品"});
        QVERIFY(patch->findChild<QTabBar *>()->minimumWidth() < dialog->findChild<QTabBar *>()->minimumWidth());
        const auto empty = made<CUpdateCurExplainDialog>({released("产品")});
        QVERIFY(titlesOf(*empty).isEmpty() && empty->CalTabbarWidth() == 0);
        patch->connectUpdateBtn(nullptr);
        QCOMPARE(m_log->texts(QtCriticalMsg),
                 QStringList{"旧版本补丁更新说明窗口按钮连接信号失败，原因：按钮对象为空"});
    }

    void tabTitles()
    {
        const QString eighteen = "远帆仿真与结构分析平台专业版软件插件";
        const auto fits = [](const QString &name, int count) {
            const QVariantList plugins = QVector<QVariant>(count, section(name, "3")).toList();
            const auto dialog = made({QVariantMap{{"软件名称", "产品"}, {"插件", plugins}}});
            dialog->show();
            const QTabBar *bar = dialog->findChild<QTabWidget *>()->tabBar();
            const int width = bar->fontMetrics().horizontalAdvance(bar->tabText(0)) + 32;
            return bar->count() == qMin(count, 64) && bar->width() <= dialog->width() - 32 &&
                   width <= bar->tabRect(0).width() && bar->tabRect(bar->count() - 1).right() <= bar->width();
        };
        QVERIFY(fits(eighteen, 2) && !fits(eighteen, 70));
        QCOMPARE(m_log->count(QtWarningMsg, "更新说明中的插件过多，共70个，只显示前64个"), 1);
        QVERIFY(!fits(QString(5000, QChar(0x540D)), 1));
        QCOMPARE(titlesOf(*made({released(" 产\n品  1")})), QStringList{" 产 品  1"});
    }

    void typingGuardOnlyWhereUnasked()
    {
        const auto isGuarded = [](CUpdateExplainDial &dialog) {
            dialog.show();
            dialog.setFocus();
            QTest::keyClick(&dialog, Qt::Key_Tab);
            return dialog.focusWidget() == &dialog; // the key has been dropped
        };
        QVERIFY(isGuarded(*made({withPatch()})));
        QVERIFY(!isGuarded(*made({fromThePrompt()})));
        QVERIFY(!isGuarded(*made<CUpdateCurExplainDialog>({withPatch()})));
    }

    void installedVersion()
    {
        using tarn::visualized::records::installedVersion;
        const auto version = [](const char *text) { return QVariantMap{{"CurrentVersion", QString::fromUtf8(text)}}; };
        const QVariantMap record{{"旧版本补丁包", version("0.9")}, {"软件", version("1.0")}};
        QCOMPARE(installedVersion(record), QString("1.0"));
        QCOMPARE(installedVersion(record, "旧版本补丁包"), QString("0.9"));
        QCOMPARE(installedVersion(changed(record, {{"CurrentVersion", "2.0"}})), QString("2.0"));
        QCOMPARE(installedVersion({{"补丁包", QVariantMap{{"本地已安装版本", "3.0"}}}}), QString("3.0"));
        QCOMPARE(installedVersion({{"插件", QVariantList{version("7")}}}), QString()); // not the product's
    }

    void invalidRequest()
    {
        for (const bool hasRequest : {false, true}) {
            const QString expected = QString::fromUtf8(hasRequest ? "获取软件的升级信息失败" : "软件升级信息为空");
            const auto notes = made({withPatch(), withPatch()}, hasRequest);
            const auto patch = made<CUpdateCurExplainDialog>({withPatch(), withPatch()}, hasRequest);
            for (CUpdateExplainDial *dialog : {notes.get(), static_cast<CUpdateExplainDial *>(patch.get())}) {
                QVERIFY(!dialog->NeedUpdateCurPatch());
                dialog->show();
                m_log->clear();
                BoxScript::press(dialog, "updateButton");
                QVERIFY(!dialog->isVisible());
                QCOMPARE(m_log->texts(QtCriticalMsg), QStringList{expected});
                QCOMPARE(m_log->find(expected).function, QString("OnUpdateAhead"));
            }
        }
        QVERIFY(FakeClient::fake().operations().isEmpty());
    }

    void whenThePatchIsOffered()
    {
        const auto offered = [](const QVariantMap &record) { return made({record})->NeedUpdateCurPatch(); };
        QVERIFY(offered(withPatch()));
        QVERIFY(!offered(fromThePrompt()));
        QVERIFY(!offered(released("产品")));
        QVERIFY(!offered(withPatch({{"是否强制更新", true}})));
        QVERIFY(!offered(withPatch({{"软件名称", ""}})));
        const auto dialog = made({withPatch()});
        dialog->SetTipFlag(false);
        QVERIFY(!dialog->NeedUpdateCurPatch());
    }

    void closingAsks()
    {
        const QPair<QString, QString> ways[] = {{"closeButton", "否"}, {"declineButton", "是"}};
        for (const auto &[button, answer] : ways) {
            sendNotes(withPatch());
            const QPointer<CUpdateExplainDial> dialog(onlyWindow<CUpdateExplainDial>());
            BoxScript boxes({[reply = answer](QDialog *box) {
                QCOMPARE(box->accessibleDescription(), QString("产品"));
                BoxScript::press(box, reply);
            }});
            BoxScript::press(dialog, button);
            QVERIFY(boxes.isDone());
            QCOMPARE(boxes.texts.first(),
                     QString("您取消了版本更新，检测到您当前使用的软件版本存在可升级的补丁，是否进行补丁升级？"));
            processDeletions();
            QVERIFY(!dialog);
            auto *patch = onlyWindow<CUpdateCurExplainDialog>();
            QCOMPARE(patch != nullptr, answer == "是");
            if (patch)
                QCOMPARE(titlesOf(*patch), QStringList{"产品"});
            CVisualizedManager::FreeInstance();
        }
    }

    void updateStartsTheDownload()
    {
        const QVariantMap record =
            changed(withPatch({{"CurrentVersion", "0.9"}}),
                    {{"补丁包", section("补丁", "2.0.1")}, {"插件", QVariantList{section("插件一", "3")}}});
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
        QCOMPARE(m_log->texts(QtInfoMsg).count("调用开始下载软件安装接口成功。"), 1);
        QCOMPARE(m_log->find("调用开始下载软件安装接口成功。").function, QString("OnUpdateAhead"));
        processDeletions();
        QVERIFY(!dialog);

        const auto patch = made<CUpdateCurExplainDialog>({record});
        BoxScript::press(patch.get(), "updateButton");
        QCOMPARE(FakeClient::fake().calls().last().values,
                 (QVariantMap{{"软件名称", "产品"},
                              {"CurrentVersion", "0.9"},
                              {"升级版本", "1.0.3"},
                              {"旧版本补丁包", record.value("旧版本补丁包")}}));
        for (const QVariantMap &withoutPatch : {released("产品"), QVariantMap()}) { // it only closes
            const auto none = made<CUpdateCurExplainDialog>({withoutPatch});
            none->show();
            m_log->clear();
            BoxScript::press(none.get(), "updateButton");
            QVERIFY(!none->isVisible());
            QCOMPARE(m_log->texts(QtCriticalMsg), QStringList{"获取软件的升级信息失败"});
        }
        QCOMPARE(FakeClient::fake().operations().size(), 2);
        made({QVariantMap()})->OnUpdateAhead(); // an empty record is one, too: the service judges it
        QCOMPARE(FakeClient::fake().operations().size(), 3);
    }

    void onePerProduct()
    {
        const BoxScript boxes;
        for (int i = 0; i < 80; ++i) { // closed windows do not count as open ones
            const QVariantMap record =
                changed(i % 2 ? released(QString()) : withPatch(), {{"软件名称", QString::number(i)}});
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
                destroyed ? CVisualizedManager::FreeInstance() : sendNotes(withPatch());
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

private:
    std::unique_ptr<LogCatcher> m_log;
};

QTEST_MAIN(tst_update_windows)
#include "tst_update_windows.moc"

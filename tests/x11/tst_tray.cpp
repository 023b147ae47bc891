// The online-upgrade window with a real tray, which may come late, go and come back.
#include "support/BoxScript.h"
#include "support/FakeClient.h"
#include "support/Xdotool.h"
#include "upgrade/Requests.h"
#include "upgrade/UpgradeDialog.h"
#include <QMenu>
#include <QProcess>
#include <QSystemTrayIcon>
#include <QTest>

class tst_tray : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        FakeClient::install();
        QApplication::setQuitOnLastWindowClosed(false);
    }

    void init()
    {
        FakeClient::fake().reset();
        const QVariantMap running{{"taskInfoList", QVariantList{request::task("A", 1)}}};
        FakeClient::fake().queue("QueryTaskInfos", {1000, {}, running});
        m_dialog = new CUpgradeDialog;
        m_icon = m_dialog->findChild<QSystemTrayIcon *>();
    }

    void cleanup()
    {
        delete m_dialog;
        endTray();
    }

    void trayComesAndGoes()
    {
        LogCatcher log;
        m_dialog->showUpgradeDialog();
        m_dialog->onMinumBtnClicked();
        QVERIFY2(m_dialog->isVisible(), "without a tray nothing could bring it back");
        QCOMPARE(log.texts(QtWarningMsg).size(), 1);
        for (int round = 0; round < 2; ++round) {
            startTray();
            QTRY_VERIFY_WITH_TIMEOUT(iconIsThere(), 10000);
            m_dialog->onMinumBtnClicked();
            QVERIFY(!m_dialog->isVisible());
            emit m_icon->activated(QSystemTrayIcon::Context);
            QVERIFY(!m_dialog->isVisible());
            QVERIFY2(QTest::qWaitFor([this] { return opensByClick(); }, 15000), qPrintable(QString::number(round)));
            m_dialog->onMinumBtnClicked();
            m_icon->contextMenu()->actions().at(0)->trigger();
            QVERIFY(m_dialog->isVisible());
            m_dialog->onMinumBtnClicked();
            endTray();
            QTRY_VERIFY_WITH_TIMEOUT(m_dialog->isVisible(), 5000); // the tray has disappeared
        }
        startTray();
        QTRY_VERIFY_WITH_TIMEOUT(iconIsThere(), 10000);
        BoxScript boxes({BoxScript::pressing("是")});
        m_icon->contextMenu()->actions().at(1)->trigger();
        QVERIFY(boxes.isDone() && !m_dialog->isVisible());
        QTRY_VERIFY(!iconIsThere());
    }

private:
    void startTray()
    {
        m_trayer.start("trayer", {"--edge", "top", "--height", "32", "--widthtype", "request"});
        QVERIFY(m_trayer.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(QSystemTrayIcon::isSystemTrayAvailable(), 15000);
    }

    void endTray()
    {
        if (m_trayer.state() == QProcess::NotRunning)
            return;
        m_trayer.terminate();
        QVERIFY(m_trayer.waitForFinished());
        QTRY_VERIFY(!QSystemTrayIcon::isSystemTrayAvailable());
    }

    bool iconIsThere() const { return m_icon->geometry().width() > 4 && QSystemTrayIcon::isSystemTrayAvailable(); }

    // To be tried again: a tray that has just come still moves its icons.
    bool opensByClick() const
    {
        return iconIsThere() && xdotoolAt(m_icon->geometry().center(), {"click", "1"}) &&
               QTest::qWaitFor([this] { return m_dialog->isVisible(); }, 1000);
    }

    QProcess m_trayer;
    CUpgradeDialog *m_dialog = nullptr;
    QSystemTrayIcon *m_icon = nullptr;
};

QTEST_MAIN(tst_tray)
#include "tst_tray.moc"

#include "message/RichTextLabel.h"
#include "support/SavedPicture.h"
#include "widgets/SafeHtml.h"
#include <QSignalSpy>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

using namespace tarn::visualized;

// Texts from outside in their widget: their look, and that none of them does harm.
class TestRichTextLabel final : public QObject
{
    Q_OBJECT
private slots:
    void nothingIsFetched()
    {
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress::LocalHost));
        const QString url = QString("http://127.0.0.1:%1/x.png").arg(server.serverPort());
        RichTextLabel text(320, 250, nullptr);
        // Past the reducer.
        text.showHtml(QString("<img src='%1'><p style=\"background-image:url('%1')\">x</p>").arg(url));
        text.grab();
        QVERIFY(!server.waitForNewConnection(300));
    }

    void looks()
    {
        const QTemporaryDir dir;
        const QString path = savedPicture(dir.filePath("a b.png"), QSize(3000, 1000), Qt::green);
        QWidget window;
        auto *text = new RichTextLabel(320, 250, &window);
        text->setObjectName("text");
        window.setStyleSheet("#text{font-size:30px;color:red;background-color:blue;}");
        text->showHtml("<p>█</p>" + safehtml::reduce("<img width=9999 src='" + path + "'>", safehtml::notice()).text);
        const int before = text->height();
        QVERIFY(before >= 30);
        QVERIFY(text->grab().toImage().pixelColor(5, before / 2) == QColor(Qt::red));
        QVERIFY(QSignalSpy(text, &RichTextLabel::heightChanged).wait()); // a pool reads the picture
        QVERIFY(text->height() > before + 80 && text->height() < 250);   // 107 pixels instead of one
        const QImage shown = text->grab().toImage();
        QCOMPARE(shown.pixelColor(310, text->height() - 20), QColor(Qt::green));
        QCOMPARE(shown.pixelColor(319, 5), QColor(Qt::blue));
    }
};

QTEST_MAIN(TestRichTextLabel)
#include "tst_rich_text_label.moc"

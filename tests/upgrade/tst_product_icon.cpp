// The icons of products, found by files that are not ours.
#include "support/Packages.h"
#include "support/SavedPicture.h"
#include "upgrade/ProductIcon.h"
#include <QTemporaryDir>
#include <QTest>
#include <sys/stat.h>

using tarn::visualized::findProductIcon;

class tst_product_icon : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        qputenv("XDG_DATA_HOME", in("home").toUtf8());
        qputenv("XDG_DATA_DIRS", in("data").toUtf8());
        QVERIFY(packages::writeFile(in("bin/draw"), "#!/bin/sh\n"));
    }

    void pictureBesideTheExecutable()
    {
        savedPicture(in("bin/draw.png"), QSize(300, 150));
        QCOMPARE(find().picture.size(), QSize(32, 16));
        QVERIFY(QFile::remove(in("bin/draw.png")) && ::mkfifo(qPrintable(in("bin/draw.png")), 0600) == 0);
        QVERIFY(find().picture.isNull()); // and has not waited for a writer
        QVERIFY(findProductIcon(in("bin/none"), QSize(32, 32)).themeNames.isEmpty());
    }

    void drawing()
    {
        savedPicture(in("bin/draw.ico"), QSize(10, 10));
        const auto widthOf = [this](const QString &drawing) {
            packages::writeFile(in("bin/draw.svg"), drawing.toUtf8());
            return find().picture.width();
        };
        const QString svg("<svg xmlns='http://www.w3.org/2000/svg' xmlns:xlink='http://www.w3.org/1999/xlink' "
                          "width='8' height='8'>%1</svg>");
        const QString square("<rect id='a' width='8' height='8' fill='red'/>");
        QCOMPARE(widthOf(svg.arg(square + "<use xlink:href='#a'/>")), 32);
        QCOMPARE(find().picture.pixelColor(16, 16), QColor(Qt::red));
        // Refused, so that the next picture is shown.
        QCOMPARE(widthOf(svg.arg("<image xlink:href='" + in("bin/draw.ico") + "' width='8' height='8'/>")), 10);
        QCOMPARE(widthOf(svg.arg(square + QString("<use xlink:href='#a'/>").repeated(9))), 10);
        QCOMPARE(widthOf(svg.arg(QString("<g>").repeated(20000) + QString("</g>").repeated(20000))), 10);
        QCOMPARE(widthOf(svg.arg(square.repeated(5001))), 10);
        QCOMPARE(widthOf("<!DOCTYPE svg [<!ENTITY e 'x'>]>" + svg.arg(square)), 10);
        QCOMPARE(widthOf(svg.arg(square + QString(300000, ' '))), 10);
        const QString pipe = in("pipe.css"); // opening it would wait for a writer
        QVERIFY(::mkfifo(qPrintable(pipe), 0600) == 0);
        QCOMPARE(widthOf("<?xml-stylesheet type=\"text/css\" href=\"" + pipe + "\"?>" + svg.arg(square)), 10);
        QCOMPARE(widthOf(svg.arg("<style>rect{fill:red}</style>" + square)), 10);
        QCOMPARE(widthOf("<svg"), 10);
    }

    void desktopEntry()
    {
        const QString group("[Desktop Entry]\nType=Application\n");
        const struct
        {
            QString entry; // %1 is the executable, %2 a picture
            bool hasPicture;
            QString themeName; // empty: only those of the file's type
        } rows[] = {{group + "Exec=%1 --new %U\nIcon=%2\n", true, {}},
                    {group + "Icon=%2\nExec=\"%1\" %F\n", true, {}},
                    {group + "Exec=%1\nIcon=draw-icon\n", false, "draw-icon"},
                    {group + "Exec=%1\nIcon=../../draw\n", false, {}}, // out of the theme
                    {group + "Exec=%1er\nIcon=%2\n", false, {}},       // another program
                    {"[Desktop Action new]\nExec=%1\nIcon=%2\n", false, {}},
                    {group + "Icon=%2\n[Desktop Action new]\nExec=%1\n", false, {}},
                    {group + "Exec=%1\n", false, {}},
                    {group + "Exec=draw\nIcon=%2\n", false, {}},
                    {group + "Exec=%1\nIcon=/none.png\n", false, {}}};
        const QString picture = savedPicture(in("any.png"), QSize(16, 16));
        QVERIFY(packages::writeFile(in("data/applications/other.desktop"), QByteArray(1 << 20, '[')));
        for (const auto &row : rows) {
            const QString entry = QString(row.entry).replace("%1", in("bin/draw")).replace("%2", picture);
            for (const QString &place : {in("data/applications/zz.desktop"), in("bin/zz.desktop")}) {
                QVERIFY(packages::writeFile(place, entry.toUtf8()));
                const auto found = find();
                QVERIFY2(found.picture.isNull() != row.hasPicture, qPrintable(row.entry));
                QCOMPARE(found.themeNames.size(), row.themeName.isEmpty() ? 2 : 3);
                QVERIFY(row.themeName.isEmpty() || found.themeNames.constFirst() == row.themeName);
                QVERIFY(QFile::remove(place));
            }
        }
    }

private:
    QString in(const QString &name) const { return m_folder->filePath(name); }
    tarn::visualized::FoundIcon find() const { return findProductIcon(in("bin/draw"), QSize(32, 32)); }

    std::unique_ptr<QTemporaryDir> m_folder;
};

QTEST_MAIN(tst_product_icon)
#include "tst_product_icon.moc"

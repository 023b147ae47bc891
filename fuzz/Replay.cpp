// Runs every target over its committed corpus: inputs that once did harm, and seeds.
#include "fuzz/Target.h"
#include <QApplication>
#include <QDir>
#include <QFile>
#include <cstdio>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    int inputs = 0;
    for (const tarn::fuzz::Target &target : tarn::fuzz::targets()) {
        const QDir corpus(QStringLiteral(TARN_CORPUS "/%1").arg(QLatin1String(target.name)));
        const auto files = corpus.entryInfoList(QDir::Files, QDir::Name);
        tarn::fuzz::require(!files.isEmpty(), target.name);
        for (const QFileInfo &info : files) {
            std::printf("%s/%s\n", target.name, qPrintable(info.fileName()));
            std::fflush(stdout); // a crash shows its input
            QFile file(info.filePath());
            tarn::fuzz::require(file.open(QIODevice::ReadOnly), "the corpus is readable");
            target.body(file.readAll());
            ++inputs;
        }
    }
    std::printf("%d inputs, longest run on the GUI thread: %lld ms\n", inputs, tarn::fuzz::longestGuiMs());
    return 0;
}

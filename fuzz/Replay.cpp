// Runs the target over its committed corpus: inputs that once did harm, and seeds.
#include "fuzz/Target.h"
#include <QApplication>
#include <QDir>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    const QDir corpus(QStringLiteral(TARN_CORPUS "/%1").arg(QLatin1String(tarn::fuzz::corpusName)));
    const auto files = corpus.entryInfoList(QDir::Files, QDir::Name);
    tarn::fuzz::require(!files.isEmpty(), "there is a corpus");
    for (const QFileInfo &info : files) {
        std::printf("%s/%s\n", tarn::fuzz::corpusName, qPrintable(info.fileName()));
        std::fflush(stdout); // a crash shows its input
        QFile file(info.filePath());
        tarn::fuzz::require(file.open(QIODevice::ReadOnly), "the corpus is readable");
        tarn::fuzz::runTarget(file.readAll());
    }
    return 0;
}

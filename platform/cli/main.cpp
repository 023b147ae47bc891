#include "cli/Command.h"
#include "tarn/core/Program.h"
#include <QCoreApplication>
#include <clocale>

int main(int argc, char *argv[])
{
    tarn::core::occupyStandardDescriptors();
    QCoreApplication app(argc, argv);
    std::setlocale(LC_CTYPE, "C.UTF-8"); // arguments and output are UTF-8 in every locale, and wcwidth() counts by it
    return tarn::cli::run(QCoreApplication::arguments().mid(1));
}

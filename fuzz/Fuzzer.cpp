// The entry points of libFuzzer.
#include "fuzz/Target.h"
#include <QApplication>

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_LOGGING_RULES", "*=false"); // refusals are logged, thousands of times here
    new QApplication(*argc, *argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    tarn::fuzz::runTarget(QByteArray(reinterpret_cast<const char *>(data), static_cast<int>(size)));
    return 0;
}

// Downloaded packages: nothing may be written outside of the directory that they are unpacked into.
#include "fuzz/Target.h"
#include "services/Failure.h"
#include "services/PackageInstaller.h"
#include <QCryptographicHash>
#include <QDir>

using namespace tarn::services;

TARN_FUZZ_TARGET("package")
{
    const tarn::fuzz::Scratch scratch;
    const QString package = scratch.file("package.tar", input);
    const QDir outside(scratch.path("outside"));
    outside.mkpath(QStringLiteral("inside"));
    const QByteArray sha256 = QCryptographicHash::hash(input, QCryptographicHash::Sha256).toHex();
    const std::atomic<bool> stopping{false};
    UpgradeItem claimed;
    claimed.file = package;
    claimed.size = input.size();
    claimed.sha256 = QString::fromLatin1(sha256);
    errorOf([&] { unpackPackages({claimed}, outside.filePath(QStringLiteral("inside")), stopping); });
    tarn::fuzz::require(outside.entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot).size() == 1,
                        "a package stays in its directory");
}

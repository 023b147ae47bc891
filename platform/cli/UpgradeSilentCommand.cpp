// "tarnctl upgrade silent".
#include "cli/Command.h"
#include "cli/MessageText.h"
#include "cli/UpgradeCommands.h"
#include "tarn/keys/UpgradeKeys.h"
#include "tarn/link/MessageWire.h"
#include "tarn/link/ServiceConnection.h"
#include "tarn/link/UpgradeWire.h"

namespace tarn::cli {

using namespace upgrade;
namespace wire = link::wire;

namespace {
constexpr int PatchTimeout = 3600'000; // ms
}

int runUpgradeSilent(const QStringList &arguments)
{
    const QString killRunning = QStringLiteral("kill-running");
    CommandLine line(
        {QStringLiteral("upgrade"), QStringLiteral("silent")},
        QStringLiteral("Downloads the patch of a product's installed version and installs it, with nothing "
                       "but a progress window. Waits until it is over. A product that runs is refused."));
    line.addOption(killRunning, QStringLiteral("Ends the product's program first, by force. Only processes of the same "
                                               "user that run its executable file are ended; a script has none."));
    line.addArgument(QStringLiteral("PRODUCT"), QStringLiteral("Name of the product."));
    if (const auto done = line.parse(arguments, 1, 1))
        return *done;
    link::ServiceConnection connection;
    const auto result = connection.call(
        wire::UpgradeTag, wire::method::PatchSilently,
        {{{key::SoftwareName, line.arguments().constFirst()}, {wire::KillRunning, line.isSet(killRunning)}}, {}},
        PatchTimeout);
    const int code = judgeUpgrade(result);
    const QVariantMap &values = result.output.values;
    if (code == status::Ok)
        printShown(values);
    if (values.value(wire::Shown).toBool())
        print(QStringLiteral("state of the window: %1").arg(values.value(key::SilentState).toInt()));
    if (code == status::Ok)
        print(QStringLiteral("installed: %1").arg(printable(values.value(key::NewVersion).toString())));
    return code;
}

} // namespace tarn::cli

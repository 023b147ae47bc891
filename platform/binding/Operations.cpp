#include "tarn/binding/Operations.h"
#include "tarn/binding/LoginNotify.h"
#include "tarn/keys/CloudKeys.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/keys/UpgradeKeys.h"

namespace tarn::binding {
namespace {

Operation operation(const char *name, const char *family, int code, const char *summary,
                    const QVector<OperationKey> &input, const QVector<OperationKey> &output = {})
{
    return {QLatin1String(name), QLatin1String(family), code, QString::fromUtf8(summary), input, output};
}

QVector<Operation> cloudOperations()
{
    using namespace cloud::key;
    const OperationKey softwareId{SoftwareId, "string", "id of the calling software"};
    const OperationKey exeName{ExeName, "string", "program name of the calling software"};
    return {
        operation("QueryYunLoginDialogState", "cloud", 0, "Tells whether the sign-in dialog is open.", {},
                  {{DialogExists, "bool", "the dialog exists"}}),
        operation("ShowCloudLogin", "cloud", cloud::code::Ok,
                  "Shows the sign-in dialog unless the user is signed in or signing in.",
                  {{YunLockErrorTip, "bool", "show the hint about the cloud lock"},
                   {ParentWindow, "u64", "X11 id of the caller's window to centre over, 0 for none"},
                   softwareId,
                   exeName,
                   {NotifyKey, "object", "ICloudLoginNotify object of the caller"}}),
        operation("NotifyCloudParentFinish", "cloud", cloud::code::Ok,
                  "The software that asked for the sign-in has ended: its dialog closes.", {softwareId, exeName}),
    };
}

QVector<Operation> upgradeOperations()
{
    using namespace upgrade::key;
    return {
        operation("showAutoCheckUpdateDialog", "upgrade", upgrade::code::Ok,
                  "Shows the prompt with the products that have updates.",
                  {{QString(), "list", "of records, one for each product", true}}),
        operation("showUpgradeExplainDialog", "upgrade", upgrade::code::Ok, "Shows the update notes of one product.",
                  {{QString(), "list", "of exactly one record", true}}),
        operation("showUpgradeDownloadDialog", "upgrade", upgrade::code::Ok,
                  "Shows the online-upgrade window with the running tasks.", {}),
        operation(
            "showSilentPatchInstallDialog", "upgrade", upgrade::code::Ok,
            "Shows that a downloaded patch is being installed and checks its package, or tells how far that is. The "
            "installation itself is the caller's.",
            {{SoftwareName, "string", "product; a request without it is refused", true},
             {QueryOnly, "bool", "only answer the state, show nothing"},
             {SettingsPath, "string",
              "INI file whose section [General] has \"ExeName\", the bare file name of the product's program, which "
              "the user can have ended by force; a script's process has its interpreter's name and is not found"},
             {LocalFile, "string", "path of the downloaded package"},
             {InstallDir, "string", "directory of the product"},
             {Restart, "bool", "whether the installer is to start the product again afterwards; only logged here"}},
            {{SilentState, "int",
              "1 installing or unknown, 2 done, 99 failed; 2 and 99 are answered once, an end that comes quickly by "
              "the "
              "answer to the request itself. Nothing in this system sets 2"}}),
    };
}

QVector<Operation> messageOperations()
{
    using namespace message::key;
    return {
        operation("ShowMessageCenter", "message", message::code::Ok, "Shows the message center.",
                  {{MsgCenterRect, "rect", "window to centre over; without it the screen"}}),
        operation("ShowNotifyMessage", "message", message::code::Ok,
                  "Shows a pop-up in the lower right corner. Every value is read as a text.",
                  {{MsgId, "string", "identity of the message", true},
                   {MsgTitle, "string", "title"},
                   {MsgContent, "string", "text, may be rich", true},
                   {LinkText, "string", "text of the link"},
                   {LinkAdress, "string", "target of the link"},
                   {PicFilePath, "string", "local path of a picture"},
                   {unReadNum, "string", "count on the badge"}}),
    };
}

QVector<Operation> licenceOperations()
{
    return {
        operation("ShowNetLockLogin", "licence", 0, "Network licence sign-in; always refused by this service.", {}),
        operation("NotifyLicParentFinish", "licence", 0,
                  "The software that asked for the licence sign-in has ended; always refused by this service.", {}),
    };
}

QString keyTable(const char *title, const QVector<OperationKey> &keys)
{
    if (keys.isEmpty())
        return QString();
    QString text = QStringLiteral("\n%1:\n\n| key | type | meaning |\n|---|---|---|\n").arg(QLatin1String(title));
    for (const OperationKey &each : keys) {
        const QString name =
            each.name.isEmpty() ? QStringLiteral("the bag's list") : QStringLiteral("`%1`").arg(each.name);
        const QString meaning =
            each.required ? each.meaning + QStringLiteral(" (nothing is shown without it)") : each.meaning;
        text += QStringLiteral("| %1 | %2 | %3 |\n").arg(name, each.type, meaning);
    }
    return text;
}

} // namespace

const QVector<Operation> &visualizedOperations()
{
    static const QVector<Operation> table =
        cloudOperations() + upgradeOperations() + messageOperations() + licenceOperations();
    return table;
}

const QVector<Record> &visualizedRecords()
{
    using namespace upgrade::key;
    static const QVector<Record> table{
        {QStringLiteral("record"),
         QStringLiteral("The updates of one product. Further keys are passed on unchanged."),
         {{SoftwareName, "string", "product, never empty: it names the record in every request that follows"},
          {ExePath, "string", "absolute path of the product's program, whose icon the prompt shows"},
          {IconPath, "string", "local path of the picture that the notes show"},
          {SoftBytes, "string", "32 or 64; sent along when the user ignores the update"},
          {CurrentVersion, "string", "installed version"},
          {Software, "section", "new version of the product, if there is one"},
          {Patch, "section", "patch of the installed version, if there is one"},
          {OldPatch, "section",
           "patch of the installed version beside a new version, offered when the user declines that"},
          {Plugins, "list of sections", "plug-ins with a new version"},
          {Visualized, "bool",
           "the request comes from a window of this service: its notes offer no patch on closing"}}},
        {QStringLiteral("section"),
         QStringLiteral("One update of a record."),
         {{SoftwareName, "string", "product or plug-in"},
          {NewVersion, "string", "version that is offered"},
          {CurrentVersion, "string", "installed version"},
          {InstalledVersion, "string", "installed version, as the notes show it"},
          {ReleaseDate, "string", "release date, yyyy-MM-dd hh:mm:ss; the prompt lists the newest product first"},
          {NotesFile, "string", "local path of the notes, HTML or plain text in UTF-8 or GBK"},
          {Forced, "bool", "a patch that the user is not asked about"}}},
    };
    return table;
}

QString operationsDocument()
{
    QString text = QStringLiteral(
        "# Operations of the visualized service\n\n"
        "Written from the table in `platform/binding/Operations.cpp`. Call them as `tarn.v1.Invoker.Call` with "
        "interface "
        "and\n"
        "object `IVisualizedService` (the hub's `Resolve` tells the endpoint), or with `tarnctl call`. An accepted\n"
        "operation answers `accepted` true, its return code and an empty error text; a refused one `accepted` false "
        "and\n"
        "return code 0. No operation waits for a window. Unknown keys are ignored, missing ones read as empty.\n");
    for (const Operation &each : visualizedOperations()) {
        text += QStringLiteral("\n## %1\n\n%2 Family %3, ").arg(each.name, each.summary, each.family);
        text += each.successCode ? QStringLiteral("return code %1.\n").arg(each.successCode)
                                 : QStringLiteral("no return code.\n");
        text += keyTable("Input", each.input) + keyTable("Output", each.output);
    }
    for (const Record &each : visualizedRecords())
        text += QStringLiteral("\n## Type: %1\n\n%2\n").arg(each.name, each.summary) + keyTable("Keys", each.keys);
    return text;
}

} // namespace tarn::binding

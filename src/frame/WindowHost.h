#pragma once

class QString;

/// What the windows ask of the one who owns them. They reach it through CManagerAccess::host(), the silent patch dialog
/// also through the pointer that it is given.
class WindowHost
{
public:
    /// Stores the state of a product's silent patch installation (tarn::upgrade::silent). Any thread.
    virtual void setSilentPatchInstallState(const QString &softName, int state) = 0;

    // A window says that it closes; the owner forgets it. GUI thread.
    virtual void CloseAutoUpdateDialog() = 0;
    virtual void RemoveUpdExpDlg(const QString &softName) = 0;
    virtual void RemoveSilentInstDlg(const QString &softName) = 0;

protected:
    ~WindowHost() = default;
};

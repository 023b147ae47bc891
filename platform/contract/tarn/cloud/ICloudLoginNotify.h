#pragma once

/// The caller's object that a finished sign-in notifies. It may live in another process: a call then blocks for at
/// most the RPC deadline, and a caller that has died costs a log line.
class ICloudLoginNotify
{
public:
    virtual ~ICloudLoginNotify() = default;
    /// The sign-in dialog has closed: with a signed-in user, or because the cloud lock refused a sign-in by one-time code
    /// (4018); GetLoginState tells which. Called at most once per sign-in, on a thread of the host's own, so that a caller
    /// that is slow or dead holds up no window.
    virtual void AfterLogin() = 0;
};

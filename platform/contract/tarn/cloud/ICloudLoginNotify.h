#pragma once

/// The caller's object that is told how a sign-in ended. It may live in another process: a call then blocks for at
/// most the RPC deadline, and a caller that has died costs a log line.
class ICloudLoginNotify
{
public:
    virtual ~ICloudLoginNotify() = default;
    /// The sign-in dialog ended with a signed-in user. Called once per sign-in, on a thread of the host's pool, so that a
    /// caller that is slow or dead holds up no window.
    virtual void AfterLogin() = 0;
};

#pragma once

/// What assistive tools are told about the message center's list: a list whose items are the messages, without the
/// containers in between. GUI thread.
namespace messageaccessible {

/// Registers it once in the process.
void install();

} // namespace messageaccessible

#pragma once

/// The message center for assistive tools: its list is a list whose items are the messages, without the containers in
/// between. GUI thread.
namespace tarn::visualized::messageaccessible {

/// Registers the roles, once in the process.
void install();

} // namespace tarn::visualized::messageaccessible

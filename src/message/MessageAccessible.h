#pragma once

class QWidget;

/// What assistive tools are told about the message center's list: a list whose items are the messages, without the
/// containers in between. GUI thread.
namespace messageaccessible {

/// Registers it once in the process.
void install();
/// Drops what Qt has made for a widget when it was shown, unless an assistive tool runs; it is made again on demand.
/// For thousands of items that is a fifth of their memory.
void release(QWidget *widget);

} // namespace messageaccessible

#pragma once
class QString;

namespace weblink {

/// Whether an address leads to a web page: http or https, with a host. Any thread.
bool isPage(const QString &address);

/// Opens an address from outside with the desktop's program for its scheme. GUI thread.
/// @return false when it was not opened: it is no address, names no scheme (it would be taken for a file of the current
///         directory), names a local file or a script, or no program takes it
bool open(const QString &address);

} // namespace weblink

#pragma once

class QString;
class QUrl;

/// Addresses from outside. Messages, notes and services may lead to web pages and mail addresses only: the programs
/// behind other schemes are not theirs to start.
namespace tarn::visualized::weblink {

/// Whether an address leads to a web page: http or https, with a host. Any thread.
bool isPage(const QString &address);

/// The address that open() takes to the desktop: http or https with a host, or mailto with a recipient. A host without a
/// scheme ("www.example.com/notes") becomes a web address. Any thread.
/// @return an empty URL for every other address
QUrl target(const QString &address);

/// Opens the address's target with the desktop's program for it. GUI thread.
/// @return false when the address has no target, or no program takes it
bool open(const QString &address);

} // namespace tarn::visualized::weblink

#pragma once
#include <QUrl>

/// Addresses that the cloud service sends and that are to be opened in the desktop's browser.
namespace webaddress {

/// The address if it leads to a web page (http or https, with a host), else an empty one.
QUrl parse(const QString &address);

} // namespace webaddress

#pragma once
#include <QByteArray>

namespace tarn::services {

/// A QR code as an SVG element with its quiet zone, to stand in a page. Empty when text is too long for one.
QByteArray qrPicture(const QByteArray &text);

} // namespace tarn::services

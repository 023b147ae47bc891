#include "services/cloud/QrPicture.h"
#include <memory>
#include <qrencode.h>

namespace tarn::services {

namespace {

constexpr int Quiet = 4; // modules around the code

struct Release
{
    void operator()(QRcode *code) const { QRcode_free(code); }
};

} // namespace

QByteArray qrPicture(const QByteArray &text)
{
    const std::unique_ptr<QRcode, Release> code(
        QRcode_encodeData(text.size(), reinterpret_cast<const unsigned char *>(text.constData()), 0, QR_ECLEVEL_M));
    if (!code)
        return {};
    const QByteArray size = QByteArray::number(code->width + 2 * Quiet);
    QByteArray path;
    for (int y = 0; y < code->width; ++y) {
        for (int x = 0; x < code->width; ++x) {
            if (code->data[y * code->width + x] & 1)
                path += 'M' + QByteArray::number(x + Quiet) + ' ' + QByteArray::number(y + Quiet) + "h1v1h-1z";
        }
    }
    return "<svg id=\"code\" xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " + size + ' ' + size +
           "\" shape-rendering=\"crispEdges\" role=\"img\"><rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>"
           "<path d=\"" +
           path + "\"/></svg>";
}

} // namespace tarn::services

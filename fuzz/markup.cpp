// Texts of messages and boxes. The first byte chooses the kind of text.
#include "fuzz/Target.h"
#include "widgets/SafeHtml.h"
#include <QTextDocument>

using namespace tarn::visualized;

TARN_FUZZ_TARGET("markup")
{
    const safehtml::Policy policies[] = {safehtml::box(), safehtml::notice(), safehtml::card(), safehtml::notes()};
    const auto &policy = policies[input.isEmpty() ? 0 : static_cast<uchar>(input.at(0)) % 4];
    const QString text = QString::fromUtf8(input.mid(1));
    const auto reduced = safehtml::reduce(text, policy);
    tarn::fuzz::require(!reduced.isRich || !reduced.text.contains(QLatin1String("<script"), Qt::CaseInsensitive),
                        "no script passes");
    safehtml::words(text, 200);
    if (reduced.text.size() > 100'000)
        return; // long texts are laid out in the background
    QTextDocument document;
    document.setHtml(reduced.text);
    document.setTextWidth(300);
    document.size();
}

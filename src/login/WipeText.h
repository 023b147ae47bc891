#pragma once
#include <QString>
#include <cstring>

namespace tarn::visualized {

/// Overwrites and empties a secret. A text whose buffer another QString shares is only emptied. Best effort: copies of the
/// toolkit and of the RPC layer are not reached. Any thread.
inline void wipeText(QString *text)
{
    if (text->isDetached()) // the buffer of a literal is read-only
        explicit_bzero(text->data(), size_t(text->size()) * sizeof(QChar));
    text->clear();
}

} // namespace tarn::visualized

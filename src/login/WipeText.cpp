#include "login/WipeText.h"
#include <cstring>

namespace tarn::visualized {

void wipeText(QString *text)
{
    if (text->isDetached()) // a shared buffer has other readers, and the one of a literal is read-only
        explicit_bzero(text->data(), size_t(text->size()) * sizeof(QChar)); // the compiler must not drop it
    text->clear();
}

} // namespace tarn::visualized

#include "login/SecretText.h"
#include <cstring>

SecretText::SecretText(const QString &text)
    : m_text(text.constData(), text.size())
{
}

SecretText::~SecretText()
{
    wipe(&m_text);
}

void SecretText::wipe(QString *text)
{
    // A buffer of one's own only: others would read zeros, and a literal's cannot be written.
    if (text->isDetached())
        explicit_bzero(text->data(), size_t(text->size()) * sizeof(QChar)); // not optimised away
    text->clear();
}

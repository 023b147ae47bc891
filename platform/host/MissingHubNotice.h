#pragma once
#include <QFrame>

/// The host's own notice in the lower right corner: the services cannot be reached, and why. Takes no focus by itself;
/// screen readers announce it. Deletes itself on close. GUI thread.
class MissingHubNotice final : public QFrame
{
    Q_OBJECT
public:
    /// @param text rich text for the user; its links are opened in the browser
    explicit MissingHubNotice(const QString &text);
};

#pragma once
#include <QObject>

class QLineEdit;

namespace tarn::visualized {

/// Return in a field that starts a sign-in. The signal comes from its own event after the line edit has handled the key,
/// since the sign-in can destroy the line edit. Several keys in a row give one signal, and a key that is held down gives
/// none: it would try the same password again and again. GUI thread; a child of the line edit.
class ReturnKey final : public QObject
{
    Q_OBJECT
public:
    explicit ReturnKey(QLineEdit *edit);

signals:
    void pressed();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
};

} // namespace tarn::visualized

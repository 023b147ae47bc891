#pragma once
#include "upgrade/UpdateExplainDial.h"

/// The notes of a patch for the version that is installed, offered when the new version was declined. It never asks a
/// question when it closes.
class CUpdateCurExplainDialog final : public CUpdateExplainDial
{
    Q_OBJECT
public:
    using CUpdateExplainDial::CUpdateExplainDial;

    void InitExplainItems(QTabWidget *tabs, const QMap<QString, QVariant> &record) override;
    int CalTabbarWidth() const override;
    void connectUpdateBtn(QPushButton *button) override;

public slots:
    void OnUpdateAhead();

protected:
    bool isUnasked() const override { return false; } // the user has agreed to see it
    void closeEvent(QCloseEvent *event) override;
};

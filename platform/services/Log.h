#pragma once
#include <QLoggingCategory>

/// Log lines of the background services; they hold ids and reasons, never texts of messages.
Q_DECLARE_LOGGING_CATEGORY(servicesLog)

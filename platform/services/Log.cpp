#include "services/Log.h"

Q_LOGGING_CATEGORY(servicesLog, "tarn.services")

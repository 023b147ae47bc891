#pragma once

/// Icon and tone of a message box. 0 is the plain notice.
enum eTipStatus { eTipNormal = 0, eTipError = 1, eTipWarning = 2, eTipSuccess = 3 };

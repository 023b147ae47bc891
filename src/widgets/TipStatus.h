#pragma once

/// Icon and tone of a message box. 0 is the plain notice.
enum eTipStatus { eTipNormal = 0, eTipError = 1, eTipWarning = 2, eTipSuccess = 3 };

/// Whether the user waits for a message box. An unasked one may take the keyboard while the user types elsewhere, so none
/// of its buttons is the default; Tab and Space or Return work in both.
enum class eBoxOrigin { Unasked, AskedFor };

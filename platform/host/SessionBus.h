#pragma once

/// Whether the session bus takes connections and does not answer them within the limit: Qt would wait for it for ever, with
/// no window shown. A bus that is missing or refuses does no harm. Blocks.
bool sessionBusHangs(int limitMs);

#pragma once

#include "widgets/ShownText.h"

namespace messagetext {
using tarn::visualized::text::brief;
using tarn::visualized::text::literal;
} // namespace messagetext

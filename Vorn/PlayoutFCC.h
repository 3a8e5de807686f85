// Media helpers: the playout codes of video formats.
#pragma once

#include "platform/Export.h"

namespace Vorn {

/// The code that playout uses for the compression or pixel format `code`, or `code` itself if there
/// is no other. A four-character code has its first character in the least significant byte; the
/// numeric VC-3 compression IDs are known too. Pure; any thread.
VORN_EXPORT unsigned int lookupPlayoutFCC(unsigned int code);

}  // namespace Vorn

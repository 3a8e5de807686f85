// Platform contract: well-known folders.
#pragma once

#include "Vorn/WString.h"
#include "platform/Export.h"

/// Any thread may call any operation at any time.
class VORN_EXPORT iPathServices {
public:
    virtual ~iPathServices() = default;

    virtual void reserved1() {}
    virtual void reserved2() {}
    virtual void reserved3() {}
    /// The path of the well-known folder with that number. The library asks only for 4, the base of
    /// the logs folder, and appends a folder name to the result as it is. So the path ends with the
    /// separator, or is empty if there is no such folder.
    virtual WString getFolderPath(int folder) = 0;
};

// Platform contract: files and their paths.
#pragma once

#include "Vorn/Ptr.h"
#include "Vorn/WString.h"
#include "platform/Export.h"
#include "platform/iFile.h"

/// Any thread may call any operation at any time.
class VORN_EXPORT iFileServices {
public:
    virtual ~iFileServices() = default;

    virtual void reserved1() {}
    virtual void reserved2() {}
    virtual void reserved3() {}
    virtual void reserved4() {}
    virtual void reserved5() {}
    virtual void reserved6() {}
    virtual void reserved7() {}
    virtual void reserved8() {}
    virtual void reserved9() {}
    virtual void reserved10() {}
    virtual void reserved11() {}
    /// Opens the file at `path`. A handle without an object means failure; a path that contains a
    /// zero character names no file and must fail. The library uses two combinations of the codes:
    /// (0, 0, 1, 0) opens an existing file for reading from its start; (1, 3, 0, 0) opens a file
    /// for writing, creating it if it is missing, so that afterwards it holds only what is then
    /// written.
    virtual Vorn::Ptr<iFile> openFile(const WString& path, int a, int b, int c, int d) = 0;
    virtual void reserved13() {}
    virtual void reserved14() {}
    virtual void reserved15() {}
    virtual void reserved16() {}
    virtual void reserved17() {}
    virtual void reserved18() {}
    virtual void reserved19() {}
    virtual void reserved20() {}
    virtual void reserved21() {}
    virtual void reserved22() {}
    virtual void reserved23() {}
    virtual void reserved24() {}
    virtual void reserved25() {}
    virtual void reserved26() {}
    virtual void reserved27() {}
    virtual void reserved28() {}
    virtual void reserved29() {}
    virtual void reserved30() {}
    virtual void reserved31() {}
    virtual void reserved32() {}
    /// The character that separates folder names in a path.
    virtual wchar_t pathSeparator() = 0;
};

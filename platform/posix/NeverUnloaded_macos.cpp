#include <dlfcn.h>

// In each of the two libraries: the linker of macOS has no option for it, so the library opens
// itself, for good, before anyone can close it.
namespace {

[[gnu::constructor]] void neverUnload() {
    Dl_info self;
    if (::dladdr(reinterpret_cast<const void*>(&neverUnload), &self) != 0)
        ::dlopen(self.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
}

}  // namespace

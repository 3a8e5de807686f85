// What the library takes for granted about compiler and machine, so that a port fails here first.

#include <bit>
#include <climits>
#include <cstdint>
#include <type_traits>

static_assert(sizeof(wchar_t) == 4, "wide characters are 32-bit code points");
static_assert(sizeof(void*) == 8, "the layouts of the handles and records assume 64-bit pointers");
static_assert(sizeof(int) == 4 && sizeof(unsigned long) == 8, "int is 32 bits, unsigned long 64");
static_assert(CHAR_BIT == 8 && std::is_same_v<std::uint8_t, unsigned char>, "bytes have 8 bits");
static_assert(std::endian::native == std::endian::little,
              "the CRC loads message bytes as one little-endian word");

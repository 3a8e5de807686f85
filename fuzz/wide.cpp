#include "fuzz/FuzzInput.h"
#include "tests/support/WStringModel.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput in(data, size);
    // Every character of the wide set can come; the usual ones come more often.
    const auto take = [&] {
        WString text;
        for (const char c : in.text(24)) text += c < 0 ? in.number<wchar_t>() : c;
        return text;
    };
    const WString text = take(), part = take(), other = take();
    const unsigned at = in.pick(text.size() + 1);
    const wchar_t c = at < text.size() ? text[at] : L'"';
    const auto v = in.real();
    assert(test::wrongNumbers(in.number<int>(), v, in.number<char>(), text) == 0);
    assert(test::wrongAnswers(text, part, other, c, in.pick(4)) == 0);
    return 0;
}

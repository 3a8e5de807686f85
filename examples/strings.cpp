// Texts: copies that share, edits in place, views, fields, and wide text.
//
// Usage: strings

#include <cstdio>

#include "Vorn/String.h"
#include "Vorn/SubString.h"
#include "Vorn/Vector.h"
#include "Vorn/WStringUtils.h"

namespace {

bool held = true;

void show(const char* what, const String& result, const char* expected) {
    std::printf("%-40s %s\n", what, static_cast<const char*>(result));
    held = held && result == expected;
}

}  // namespace

int main() {
    const String timecode("01:02:03:04");
    String copy = timecode;  // Shares the text until it is changed.
    copy[0] = '1';
    show("a copy, changed", copy, "11:02:03:04");
    show("the original", timecode, "01:02:03:04");
    show("a view of it", String(timecode(3, 5)), "02:03");
    show("every ':' replaced", timecode.substitute(":", ";"), "01;02;03;04");

    Vector<String> fields;
    timecode.split(':', fields, 0);
    show("its third field", fields[2], "03");
    String path("clips, \"a, b\",,end");
    fields.clear();
    path.split(',', fields, SplitQuoted | SplitNoEmpties);
    show("a quoted field", fields[1].stripLeadingSpaces(), "\"a, b\"");

    String built("take ");
    built += 12;
    built.insert(" of ", 4, 0, built.size());
    built += 20u;
    show("built piece by piece", built, "take 12 of 20");

    const WString wide = Vorn::WStringFromUTF8("/Volumes/B\u00fchne/clip.mov");
    show("the file name of a wide path", String(Vorn::splitFilename(wide).c_str()), "clip.mov");
    show("a number without needless zeros", String(Vorn::WStringFromFloat(29.97, 3, true).c_str()),
         "29.97");
    return held ? 0 : 1;
}

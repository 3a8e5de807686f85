#include "Vorn/PlayoutFCC.h"

namespace Vorn {
namespace {

constexpr unsigned fcc(const char (&code)[5]) {
    unsigned value = 0;
    for (int i = 3; i >= 0; --i) value = value << 8 | static_cast<unsigned char>(code[i]);
    return value;
}

}  // namespace

unsigned int lookupPlayoutFCC(unsigned int code) {
    switch (code) {
        case fcc("dvc "):
        case fcc("dvcp"):
        case fcc("CDVC"):
            return fcc("dvsd");
        case fcc("dvpn"):
        case fcc("dvpp"):
            return fcc("dv25");
        case fcc("dv5n"):
        case fcc("dv5p"):
            return fcc("dv50");
        case fcc("dvh5"):
        case fcc("dvh6"):
        case fcc("dvhp"):
        case fcc("dvhq"):
            return fcc("dvh1");
        case fcc("mx3n"):
        case fcc("mx4n"):
        case fcc("mx5n"):
        case fcc("mx3p"):
        case fcc("mx4p"):
        case fcc("mx5p"):
            return fcc("GIMX");
        case fcc("hdv3"):
        case fcc("hdv5"):
        case fcc("hdv7"):
        case fcc("hdva"):
        case fcc("xdv3"):
        case fcc("xdv5"):
        case fcc("xdva"):
        case fcc("xdvc"):
        case fcc("xdve"):
        case fcc("xd5a"):
        case fcc("xd5c"):
        case fcc("xd5e"):
            return fcc("M701");
        case fcc("mpeg"):
            return fcc("MMES");
        case fcc("ai55"):
        case fcc("ai5q"):
        case fcc("avca"):
        case fcc("avcb"):
            return fcc("avc5");
        case fcc("ai12"):
        case fcc("ai15"):
        case fcc("ai1q"):
        case fcc("avcc"):
        case fcc("avcd"):
            return fcc("avc6");
        case fcc("mjpa"):
            return fcc("MJPG");
        case fcc("2vuy"):
            return fcc("UYVY");
        case fcc("yuv2"):
            return fcc("YUY2");
        case 1237:
        case 1238:
        case 1242:
        case 1243:
        case 1244:
        case 1251:
        case 1252:
        case 1253:
            return fcc("AVdn");
        case 1235:
        case 1241:
        case 1250:
            return fcc("AVdx");
        default:
            return code;
    }
}

}  // namespace Vorn

// Many small objects from Loki's allocator. Its compiled part is in the library, so that a module
// links nothing more. Each module has an allocator of its own, which takes its pages from the
// platform; objects are made and dropped in one module, on one thread at a time.
//
// Usage: small_objects

#include <loki/SmallObj.h>

#include <cstdio>
#include <memory>
#include <vector>

namespace {

// One point of a curve in time. The base class brings the operators that allocate.
class Keyframe : public Loki::SmallObject<> {
public:
    Keyframe(unsigned frame, float value) : at(frame), gain(value) {}
    float from(const Keyframe& former, unsigned frame) const {
        const float part =
            static_cast<float>(frame - former.at) / static_cast<float>(at - former.at);
        return former.gain + part * (gain - former.gain);
    }

private:
    const unsigned at;
    const float gain;
};

}  // namespace

int main() {
    std::vector<std::unique_ptr<Keyframe>> fade;
    for (unsigned n = 0; n <= 1000; ++n)
        fade.push_back(std::make_unique<Keyframe>(n * 25, static_cast<float>(n) / 1000));
    const float half = fade[501]->from(*fade[500], 12'510);
    std::printf("%zu keyframes, half way at %.4f\n", fade.size(), half);
    fade.clear();
    const bool trimmed = Loki::AllocatorSingleton<>::Instance().TrimExcessMemory();
    std::printf("their pages are %s\n", trimmed ? "given back" : "kept");
    return half > 0.5003f && half < 0.5005f && trimmed ? 0 : 1;
}

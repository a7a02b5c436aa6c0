// Any file as a painted mask: a mask of the frames' size, or one line of refusal.
#include "base/failure.hpp"
#include "memory_file.hpp"
#include "video/mask_image.hpp"

extern "C" {
#include <libavdevice/avdevice.h>
#include <libavutil/log.h>

// A mask is a file: cameras, and the hundred libraries behind them, stay out of this program.
void avdevice_register_all(void) {}
}

using kes::fuzz::Check;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    av_log_set_level(AV_LOG_QUIET);
    kes::fuzz::MemoryFile const file(data, size);
    try {
        auto const mask = kes::track::video::ReadMask(file.Path(), {70, 5});
        Check(mask.width == 35 && mask.height == 2 && mask.words.size() == 4, "the mask's size");
        Check((mask.words[1] << 3) == 0 && (mask.words[3] << 3) == 0, "clear padding");
    } catch (kes::track::Failure const& failure) {
        Check(failure.Code() == kes::track::ExitCode::BadSideInput, "the exit code");
        Check(std::string(failure.what()).find('\n') == std::string::npos, "one line");
    }
    return 0;
}

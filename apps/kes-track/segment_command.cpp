// kes-track segment: the foreground segmenter over a whole clip.

#include <cstdint>
#include <iostream>
#include <memory>
#include <string>

#include "cli/input_options.hpp"
#include "cli/interrupt.hpp"
#include "command.hpp"
#include "video/reader.hpp"

namespace kes::track {
namespace {

struct SegmentOptions {
    std::string input;
    video::ReadOptions read;
};

int Segment(SegmentOptions const& options) {
    video::Reader reader(options.input, options.read);
    std::uint64_t frames = 0;
    while (reader.Next()) ++frames;
    std::cout << "frames  " << frames << '\n';
    if (auto const fault = reader.Fault()) {
        throw cli::Failure(cli::ExitCode::BrokenInput, options.input + ": " + *fault);
    }
    return 0;
}

}  // namespace

Run AddSegmentCommand(CLI::App& app) {
    auto const options = std::make_shared<SegmentOptions>();
    cli::AddInput(app, options->input);
    cli::AddReadOptions(app, options->read);
    options->read.isCancelled = cli::Interrupted;
    return [options] { return Segment(*options); };
}

}  // namespace kes::track

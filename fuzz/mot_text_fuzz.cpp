// Any text as a file of boxes: rows that mean something, or one line of refusal.
#include <cmath>
#include <sstream>

#include "base/failure.hpp"
#include "bytes.hpp"
#include "mot/mot_text.hpp"

using kes::fuzz::Check;
using kes::track::mot::Parse;
using kes::track::mot::Row;
using kes::track::mot::Write;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::istringstream in(std::string(reinterpret_cast<char const*>(data), size));
    try {
        for (Row const& row : Parse(in, "boxes.txt")) {
            Check(row.frame >= 1 && row.id >= -1, "numbers");
            Check(row.box.right > row.box.left && row.box.bottom > row.box.top, "a box has area");
            for (float const value :
                 {row.box.left, row.box.top, row.box.right, row.box.bottom, row.confidence}) {
                Check(std::isfinite(value), "values are finite");
            }
            std::ostringstream out;
            Write(out, row);
            Check(!out.str().empty() && out.str().back() == '\n', "a row is one line");
        }
    } catch (kes::track::Failure const& failure) {
        std::string const words = failure.what();
        Check(failure.Code() == kes::track::ExitCode::BadSideInput, "the exit code");
        Check(words.rfind("boxes.txt:", 0) == 0, "the file and the line");
    }
    return 0;
}

// Frames made, allocated, copied, moved, swapped and written in any order, against a plain account
// of what each must hold.
#include <array>
#include <cstring>
#include <new>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <utility>

#include <kes/media/time_point.hpp>
#include <kes/media/video/frame.hpp>

#include "bytes.hpp"

namespace {

using kes::fuzz::Bytes;
using kes::fuzz::Check;
using kes::media::ColourFormat;
using kes::media::video::frame::Rotation;

using Frame = kes::media::video::FrameBase<void>;

constexpr std::size_t FrameCount = 4;
constexpr std::size_t CounterCount = 3;

__extension__ using Wide = unsigned __int128;  // sizes may take 66 bits

// What a frame says of itself.
struct Fields {
    Frame::Planes planes{};
    ColourFormat format{};
    unsigned int width = 0;
    unsigned int height = 0;
    Frame::TimePoint timestamp{};
    Rotation rotation{};

    bool operator==(Fields const&) const = default;
};

// What a frame must hold, and which counter accounts for it.
struct Account : Fields {
    std::optional<std::size_t> counter;
    bool isAllocated = false;
};

void CheckText(Frame const& frame, Account const& account) {
    static constexpr char const* Rotations[] = {"none", "90", "180", "270"};
    std::ostringstream expected;
    expected << R"({"planes":[)" << account.planes[0];
    for (std::size_t i = 1; i < 4; ++i) expected << ',' << account.planes[i];
    expected << R"(],"colour_format":)" << account.format << R"(,"width":)" << account.width
             << R"(,"height":)" << account.height << R"(,"timestamp":)";
    kes::media::operator<<(expected, account.timestamp);
    expected << R"(,"rotation":")";
    auto const rotation = static_cast<std::size_t>(account.rotation);
    bool const isNamed = rotation < std::size(Rotations);
    if (isNamed) expected << Rotations[rotation] << "\"}";

    std::ostringstream out;
    try {
        out << frame;
        Check(isNamed, "a rotation without a name");
    } catch (std::out_of_range const& error) {
        Check(!isNamed && error.what() == std::string("map::at"), "a rotation with a name");
    }
    Check(out.str() == expected.str(), "text");
}

void CheckFields(Frame const& frame, Account const& account) {
    Fields const found{frame.GetPlanes(), frame.GetColourFormat(), frame.GetWidth(),
                       frame.GetHeight(), frame.GetTimestamp(),    frame.GetRotation()};
    Check(found == account, "fields");
    bool const isCounted = account.counter.has_value() || account.isAllocated;
    Check(bool(frame.GetRef()) == isCounted && bool(frame.GetUnref()) == isCounted, "functions");
    bool hasPlane = false;
    for (auto const& plane : account.planes) {
        hasPlane = hasPlane || (plane.GetSize() > 0 && plane.GetBuffer() != nullptr);
    }
    Check(bool(frame) == (hasPlane && account.width > 0 && account.height > 0), "validity");
}

Account TakeAccount(Bytes& bytes) {
    static unsigned char pixels[16];
    Account account;
    for (auto& plane : account.planes) {
        if (bytes.Flag())
            plane = {bytes.Below(3), bytes.Flag() ? pixels : nullptr, bytes.Take<long>()};
    }
    account.format = static_cast<ColourFormat>(bytes.Flag() ? bytes.Take<std::int32_t>()
                                                            : static_cast<int>(bytes.Below(6)));
    account.width = bytes.Flag() ? bytes.Take<unsigned>() : bytes.Below(40);
    account.height = bytes.Flag() ? bytes.Take<unsigned>() : bytes.Below(40);
    account.timestamp = Frame::TimePoint(std::chrono::nanoseconds(bytes.Take<std::int64_t>()));
    account.rotation =
        static_cast<Rotation>(bytes.Flag() ? bytes.Take<std::uint32_t>() : bytes.Below(5));
    return account;
}

// An allocated frame of the account's format and size, and the planes that it must have. Blocks
// that some machines could just give are not asked for.
Frame Allocate(Account& account) {
    auto const align4 = [](Wide bytes) { return (bytes + 3) / 4 * 4; };
    auto const format = static_cast<std::int32_t>(account.format);
    bool const isKnown = format >= 0 && format <= 4;
    bool const isNv12 = account.format == ColourFormat::Nv12;
    bool const isPacked = format >= 1 && format <= 3;
    Wide const stride0 = align4(Wide{account.width} * (isPacked ? 3U : 1U));
    Wide const size0 = stride0 * account.height;
    Wide const stride1 = isNv12 ? align4((account.width + 1U) & ~1U) : 0;
    Wide const size1 = isNv12 ? stride1 * ((account.height + 1U) / 2) : 0;
    constexpr Wide Small = 1 << 20;
    constexpr Wide BeyondAnyMachine = Wide{1} << 48;
    if (isKnown && size0 + size1 > Small && size0 + size1 < BeyondAnyMachine) {
        account = {};
        return Frame();
    }
    try {
        Frame frame(account.format, account.width, account.height, account.timestamp,
                    account.rotation);
        Check(isKnown, "an unknown format was refused");
        auto* const block = static_cast<unsigned char*>(frame.GetPlane(0).GetBuffer());
        Check(reinterpret_cast<std::uintptr_t>(block) % 16 == 0, "alignment");
        account.planes = {};
        account.planes[0] = {static_cast<unsigned long>(size0), block, static_cast<long>(stride0)};
        if (isNv12) {
            account.planes[1] = {static_cast<unsigned long>(size1),
                                 block + static_cast<unsigned long>(size0),
                                 static_cast<long>(stride1)};
        }
        account.isAllocated = true;
        std::memset(block, 0x5a, static_cast<std::size_t>(size0 + size1));
        return frame;
    } catch (std::invalid_argument const& error) {
        Check(!isKnown && error.what() == std::string("Unsupported colour format"), "refusal");
    } catch (std::bad_alloc const&) {
        Check(isKnown && size0 + size1 > Small, "there was memory for this");
    }
    account = {};
    return Frame();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Bytes bytes(data, size);
    std::array<int, CounterCount> counts{};
    {
        std::array<Frame, FrameCount> frames;
        std::array<Account, FrameCount> accounts;
        while (!bytes.IsEmpty()) {
            std::size_t const i = bytes.Below(FrameCount);
            std::size_t const j = bytes.Below(FrameCount);
            switch (bytes.Below(8)) {
                case 0: {
                    Account account = TakeAccount(bytes);
                    std::function<void()> ref;
                    std::function<void()> unref;
                    if (bytes.Flag()) {
                        int& count = counts[*(account.counter = bytes.Below(CounterCount))];
                        ref = [&count] { ++count; };
                        unref = [&count] { --count; };
                    }
                    frames[i] = Frame(account.planes, account.format, account.width, account.height,
                                      account.timestamp, account.rotation, ref, unref);
                    accounts[i] = account;
                    break;
                }
                case 1: {
                    Account account = TakeAccount(bytes);
                    frames[i] = Allocate(account);
                    accounts[i] = account;
                    break;
                }
                case 2:
                    frames[i] = frames[j];
                    accounts[i] = accounts[j];
                    break;
                case 3: {
                    // The moved-from one stays a view.
                    Frame moved(std::move(frames[j]));
                    Account const account = accounts[j];
                    accounts[j].counter.reset();
                    accounts[j].isAllocated = false;
                    CheckFields(frames[j], accounts[j]);
                    frames[i] = std::move(moved);
                    accounts[i] = account;
                    break;
                }
                case 4:
                    swap(frames[i], frames[j]);
                    std::swap(accounts[i], accounts[j]);
                    break;
                case 5: CheckText(frames[i], accounts[i]); break;
                case 6: {
                    bool const same = Fields(accounts[i]) == accounts[j];
                    Check((frames[i] == frames[j]) == same, "equality");
                    Check((frames[i] != frames[j]) != same, "its negation");
                    break;
                }
                case 7:
                    frames[i] = Frame();
                    accounts[i] = {};
                    break;
            }
            CheckFields(frames[i], accounts[i]);
            std::array<int, CounterCount> held{};
            for (Account const& account : accounts) {
                if (account.counter) ++held[*account.counter];
            }
            Check(held == counts, "one reference a counted frame");
        }
    }
    Check(counts == std::array<int, CounterCount>{}, "every reference was given back");
    return 0;
}

// Frames made, allocated, copied, moved, swapped and written in any order, against a plain account
// of what each must hold.
#include <array>
#include <cstring>
#include <new>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <utility>

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

// An allocated frame of the account's format and size, whose planes lie one behind the other.
// Blocks that some machines could just give are not asked for.
Frame Allocate(Account& account) {
    auto const format = static_cast<std::int32_t>(account.format);
    bool const isKnown = format >= 0 && format <= 4;
    bool const isSmall = account.width < 512 && account.height < 512;
    bool const isHuge = account.width > 1U << 28 && account.height > 1U << 28;
    try {
        if (isKnown && !isSmall && !isHuge) throw std::bad_alloc();
        Frame frame(account.format, account.width, account.height, account.timestamp,
                    account.rotation);
        Check(isKnown && !isHuge, "what cannot be had was refused");
        account.planes = frame.GetPlanes();
        account.isAllocated = true;
        auto const& [first, second, third, fourth] = account.planes;
        auto* const block = static_cast<unsigned char*>(first.GetBuffer());
        Check(reinterpret_cast<std::uintptr_t>(block) % 16 == 0, "alignment");
        Check(first.GetSize() >= std::size_t{account.width} * account.height, "size");
        Check(second.GetBuffer() ==
                  (account.format == ColourFormat::Nv12 ? block + first.GetSize() : nullptr),
              "second plane");
        Check(third == fourth && !third, "no others");
        std::memset(block, 0x5a, first.GetSize() + second.GetSize());
        return frame;
    } catch (std::invalid_argument const&) {
        Check(!isKnown, "a known format is taken");
    } catch (std::bad_alloc const&) {
        Check(isKnown && !isSmall, "there was memory for this");
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
                case 5: {
                    std::ostringstream text;
                    bool const isNamed = accounts[i].rotation <= Rotation::Clockwise270;
                    try {
                        text << frames[i];
                        Check(isNamed, "a rotation without a name");
                    } catch (std::out_of_range const&) {
                        Check(!isNamed, "a rotation with a name");
                    }
                    break;
                }
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

#include <kes/object/bad_cast.hpp>

#include <utility>

namespace kes::object {

BadCast::BadCast(std::string message) : message(std::move(message)) {}

// Out of line, so that the type information is emitted here and nowhere else.
BadCast::~BadCast() = default;

char const* BadCast::what() const noexcept { return message.c_str(); }

}  // namespace kes::object

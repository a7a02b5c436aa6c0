/// \file
/// BadCast: a failed conversion between object types, with a message of its own.
#pragma once

#include <string>
#include <typeinfo>

#include <kes/export.hpp>

namespace kes::object {

/// The library exports the type for its users and never throws it.
class KES_EXPORT BadCast : public std::bad_cast {
public:
    /// Keeps the message for what().
    explicit BadCast(std::string message);
    ~BadCast() override;

    /// Returns the message; valid as long as this object lives.
    char const* what() const noexcept override;

private:
    std::string message;
};

}  // namespace kes::object

// InUse: keeps two threads from using one object at once while the interpreter lock is released.
#pragma once

#include <stdexcept>
#include <string>

namespace kes::python {

// Made with the interpreter lock held, and destroyed with it held.
class InUse {
public:
    // Throws std::runtime_error, in Python RuntimeError, when another thread is using the object.
    InUse(bool& isInUse, char const* what) : isInUse(isInUse) {
        if (isInUse) {
            throw std::runtime_error(std::string("This ") + what +
                                     " is in use by another thread; give each thread its own");
        }
        isInUse = true;
    }
    ~InUse() { isInUse = false; }

    InUse(InUse const&) = delete;
    InUse& operator=(InUse const&) = delete;

private:
    bool& isInUse;
};

}  // namespace kes::python

// Finish: takes several files to their ends, also after one of them failed.
#pragma once

#include <exception>

namespace kes::track {

class Finish {
public:
    // Runs `close` whatever happened before.
    template <typename Close>
    void operator()(Close const& close) {
        try {
            close();
        } catch (...) {
            if (!failure) failure = std::current_exception();
        }
    }

    // Throws what failed first, if anything did.
    void Done() const {
        if (failure) std::rethrow_exception(failure);
    }

private:
    std::exception_ptr failure;
};

}  // namespace kes::track

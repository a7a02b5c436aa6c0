// PartFile: a file written beside its place, as "NAME.part", that takes its place when it is whole.
#pragma once

#include <string>

namespace kes::track {

// A run that is cut off leaves what was at the place before, and perhaps a part. A pipe, a device
// or anything else that is no regular file is written where it is; "-" is standard output.
//
// All of it throws Failure (BadOutput) with the output's name and the system's words.
class PartFile {
public:
    // Makes or empties the part. Throws also while another program writes the same output.
    explicit PartFile(std::string path);
    PartFile(PartFile const&) = delete;
    PartFile& operator=(PartFile const&) = delete;
    // Without Commit the part goes, unless Keep was called.
    ~PartFile();

    // What errors call it.
    std::string const& Name() const noexcept { return name; }
    // What to open for writing: the part, or what is written where it is.
    std::string const& Path() const noexcept { return path; }
    // The same, open. Its owner is this object.
    int Descriptor() const noexcept { return descriptor; }
    bool IsBeside() const noexcept { return !place.empty(); }

    // What has been written is of use as it is, should no more follow.
    void Keep() noexcept { isKept = true; }

    // Puts the file in its place. Everything must have been handed to the system.
    void Commit();

    // Throws the Failure for an error number.
    [[noreturn]] void Fail(int error) const;

    static std::string PartOf(std::string const& path) { return path + ".part"; }

private:
    void OpenBeside();

    std::string name;
    std::string place;  // the name to take, links followed; empty: written where it is
    std::string path;
    int descriptor = -1;
    bool isKept = false;
};

}  // namespace kes::track

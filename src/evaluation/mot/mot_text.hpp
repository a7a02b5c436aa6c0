// Boxes as the multiple-object tracking benchmarks write them: a line of comma-separated values for
// each box, "frame,id,left,top,width,height" and, optionally, "confidence,x,y,z". Frames count from
// 1 and coordinates are pixels.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include <kes/tracker/tracker.hpp>

namespace kes::mot {

struct Row {
    long frame;
    long id;           // -1 in a detector's output
    tracker::Box box;  // pixels, corner to corner
    float confidence = 1;
    std::string label;  // the eighth column where it is a class name; else empty
};

// Every row of a file, in the file's order. Empty lines and lines that start with '#' are skipped.
// Throws std::invalid_argument with the file's name and line for what cannot be read, for a frame
// below 1 and for a box without area.
std::vector<Row> Read(std::string const& path);
std::vector<Row> Parse(std::istream& in, std::string const& name);

// One line of ten columns.
void Write(std::ostream& out, Row const& row);

}  // namespace kes::mot

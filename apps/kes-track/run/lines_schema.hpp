// LinesSchema: the JSON Schema of the lines that `run --jsonl` writes, lines.schema.json.
#pragma once

namespace kes::track::run {

extern char const* const LinesSchema;

}  // namespace kes::track::run

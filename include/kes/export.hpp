/// \file
/// KES_EXPORT: the mark of the interface.
#pragma once

/// Marks what the shared libraries export; everything else is built with hidden visibility.
#define KES_EXPORT __attribute__((visibility("default")))

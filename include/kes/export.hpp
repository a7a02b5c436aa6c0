// Marks what the shared libraries export; everything else is built with hidden visibility.
#pragma once

#define KES_EXPORT __attribute__((visibility("default")))

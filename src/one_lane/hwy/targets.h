// What Highway tells of the processor: with one lane, nothing.
#pragma once

#include <hwy/highway.h>

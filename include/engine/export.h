// Marks what the shared libraries export; everything else in them is hidden.
#pragma once

#define NUVIK_EXPORT __attribute__((visibility("default")))

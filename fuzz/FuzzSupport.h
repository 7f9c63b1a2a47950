// Feeds bytes through the whole import path: write them to a file with the
// given extension, open it (probing every reader), and load what was
// announced when its size is reasonable.
#pragma once
#include <cstddef>
#include <cstdint>

void FuzzOpenAndLoad(const uint8_t* data, size_t size, const char* extension, bool probeAll);

// allocations.h - how much storage is allocated, so that a test can see that all was released.
#pragma once

#include <cstddef>

/// A measure of what is allocated now: the same before and after means that nothing was left.
std::size_t allocated();

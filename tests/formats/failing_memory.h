// Memory that ends: lets an operation of the tests fail at each of its allocations in turn.
#pragma once

namespace vorlan::test {

// After so many further allocations by `new`, each one fails; a negative number ends that.
void fail_allocations_after(int count);

}  // namespace vorlan::test

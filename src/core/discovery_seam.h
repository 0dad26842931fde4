// The seam through which tests make discovery read the manufacturing
// information afresh. The agent reads it until it has it, then keeps it.
#pragma once

namespace pemo {

// Forgets the manufacturing information read so far.
void manufacturing_cache_reset();

}  // namespace pemo

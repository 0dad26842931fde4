// The seam through which tests start from an empty probe database handle. The
// agent opens the database once and keeps it for its life.
#pragma once

namespace pemo {

// Closes the process's probe database handle; the next open starts afresh.
void probe_db_close();

}  // namespace pemo

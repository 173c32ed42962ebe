#pragma once

namespace neighbour {

/// Of a library that lies beside the bundle which needs it, and nowhere else.
int answer();

}  // namespace neighbour

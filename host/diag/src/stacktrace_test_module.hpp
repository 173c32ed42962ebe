#pragma once

/// Calls `callback` from a function whose name is exported, called by one whose name is not. The module has
/// no line numbers and no names but the exported ones.
[[gnu::visibility("default")]] void callThroughStrippedModule(void (*callback)());

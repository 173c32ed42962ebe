#pragma once

namespace foundation::feature::management::test {

/// Makes a static object of this library, which holds nothing yet.
void prepareToKeepInLibrary();

/// Has it hold everything, and makes another one, which does so too.
void keepInLibrary();

}  // namespace foundation::feature::management::test

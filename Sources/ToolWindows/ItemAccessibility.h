#pragma once

namespace Pelgra {

/// Lets assistive programs know rows and page cards as items of a list and a window's title as a heading. Takes effect
/// for widgets first asked about afterwards; calling it again changes nothing. Main thread.
void installItemAccessibility();

} // namespace Pelgra

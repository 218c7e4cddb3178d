#pragma once

/// The short sound of a highlight that moves on.
namespace Pelgra::TickSound {

/// Plays it softly from the start, from the sound theme of the desktop; silent where the theme has none, where the
/// desktop's event sounds are off, or without a sound server. Returns at once: all of it, the first connection to the
/// server too, happens on a thread of its own.
void play();

} // namespace Pelgra::TickSound

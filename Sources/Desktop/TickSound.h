#pragma once

/// The short sound when the highlight moves.
namespace Pelgra::TickSound {

/// Plays it softly from the start, from the sound theme of the desktop; silent where the theme has none, where the
/// desktop's event sounds are off, or without a sound server. Returns at once: everything, including the first
/// connection to the server, happens on a thread of its own.
void play();

} // namespace Pelgra::TickSound

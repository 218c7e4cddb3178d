#pragma once

namespace Pelgra {

class WheelView;

/// The wheel for screen readers: a group with one button for each petal, named like its label. Main thread.
namespace WheelAccessible {

/// Makes every WheelView accessible. Once is enough; more often does no harm.
void install();

/// The view shows other petals.
void petalsChanged(WheelView* view);

/// A petal became highlighted: it has the reader's focus now.
void highlightMoved(WheelView* view, int petal);

} // namespace WheelAccessible

} // namespace Pelgra

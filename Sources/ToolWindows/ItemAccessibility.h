#pragma once

class QString;
class QWidget;

namespace Pelgra {

/// Presents tool windows to assistive programs as dialogs, rows and page cards as items of a list, and a window's title
/// as a heading. Takes effect for widgets first asked about afterwards; calling it again changes nothing. Main thread.
void installItemAccessibility();

/// Names or describes a control for assistive programs. They are told about a change, and read it aloud where the
/// keyboard focus is; the same text again is not reported.
void setSpokenName(QWidget& widget, const QString& name);
void setSpokenDescription(QWidget& widget, const QString& description);

} // namespace Pelgra

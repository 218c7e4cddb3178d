#pragma once

class QString;
class QWidget;

namespace Pelgra {

/// Lets assistive programs know tool windows as dialogs, rows and page cards as items of a list and a window's title as
/// a heading. Takes effect for widgets first asked about afterwards; calling it again changes nothing. Main thread.
void installItemAccessibility();

/// Names or describes a control for assistive programs. They are told of a change, and read it aloud where the keyboard
/// is; of the same text again they are not told.
void setSpokenName(QWidget& widget, const QString& name);
void setSpokenDescription(QWidget& widget, const QString& description);

} // namespace Pelgra

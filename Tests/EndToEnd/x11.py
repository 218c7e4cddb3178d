"""Real input events and a look at the windows of an X display, through libX11, libXtst and libXfixes."""
import ctypes
from ctypes import POINTER, byref, c_char_p, c_int, c_uint, c_ulong, c_void_p

PLAIN_IMAGE_FORMAT = 2
ALL_PLANES = 0xFFFFFFFF
VIEWABLE = 2
GRAB_SUCCESS, ASYNCHRONOUSLY, CURRENT_TIME = 0, 1, 0
CREATE_NOTIFY, DESTROY_NOTIFY, UNMAP_NOTIFY, MAP_NOTIFY, CONFIGURE_NOTIFY, SELECTION_NOTIFY = 16, 17, 18, 19, 22, 31
CLIENT_SHIFT = 21  # what is above these bits of a window's number tells whose it is
SUBSTRUCTURE_NOTIFY = 1 << 19
NEW_OWNER = 1 << 0


class Attributes(ctypes.Structure):
    _fields_ = [("x", c_int), ("y", c_int), ("width", c_int), ("height", c_int), ("border_width", c_int),
                ("depth", c_int), ("visual", c_void_p), ("root", c_ulong), ("class_", c_int), ("bit_gravity", c_int),
                ("win_gravity", c_int), ("backing_store", c_int), ("backing_planes", c_ulong),
                ("backing_pixel", c_ulong), ("save_under", c_int), ("colormap", c_ulong), ("map_installed", c_int),
                ("map_state", c_int), ("all_event_masks", ctypes.c_long), ("your_event_mask", ctypes.c_long),
                ("do_not_propagate_mask", ctypes.c_long), ("override_redirect", c_int), ("screen", c_void_p)]


class SelectionOwnerNotify(ctypes.Structure):
    _fields_ = [("type", c_int), ("serial", c_ulong), ("send_event", c_int), ("display", c_void_p), ("window", c_ulong),
                ("subtype", c_int), ("owner", c_ulong), ("selection", c_ulong)]


class WindowNotify(ctypes.Structure):
    """A window's life as its parent sees it; only of a new or changed one with the place."""
    _fields_ = [("type", c_int), ("serial", c_ulong), ("send_event", c_int), ("display", c_void_p), ("parent", c_ulong),
                ("window", c_ulong), ("x", c_int), ("y", c_int), ("width", c_int), ("height", c_int)]


class MapNotify(ctypes.Structure):
    _fields_ = WindowNotify._fields_[:6] + [("override_redirect", c_int)]


class Event(ctypes.Union):
    _fields_ = [("type", c_int), ("selection", SelectionOwnerNotify), ("window", WindowNotify),
                ("mapped", MapNotify), ("whole", ctypes.c_long * 24)]


X = ctypes.CDLL("libX11.so.6")
T = ctypes.CDLL("libXtst.so.6")
F = ctypes.CDLL("libXfixes.so.3")
X.XOpenDisplay.restype = c_void_p
X.XDefaultRootWindow.restype = c_ulong
X.XStringToKeysym.restype = c_ulong
X.XKeysymToKeycode.argtypes = [c_void_p, c_ulong]
X.XGetImage.restype = c_void_p
X.XGetImage.argtypes = [c_void_p, c_ulong, c_int, c_int, c_uint, c_uint, c_ulong, c_int]
X.XGetPixel.restype = c_ulong
X.XGetPixel.argtypes = [c_void_p, c_int, c_int]
X.XDestroyImage.argtypes = [c_void_p]
for function in ("XDefaultRootWindow", "XFlush", "XCloseDisplay"):
    getattr(X, function).argtypes = [c_void_p]
X.XSync.argtypes = [c_void_p, c_int]
X.XQueryTree.argtypes = [c_void_p, c_ulong, POINTER(c_ulong), POINTER(c_ulong), POINTER(POINTER(c_ulong)), POINTER(c_uint)]
X.XFetchName.argtypes = [c_void_p, c_ulong, POINTER(c_char_p)]
X.XGetWindowAttributes.argtypes = [c_void_p, c_ulong, POINTER(Attributes)]
X.XInternAtom.restype = c_ulong
X.XInternAtom.argtypes = [c_void_p, c_char_p, c_int]
X.XGetSelectionOwner.restype = c_ulong
X.XGetSelectionOwner.argtypes = [c_void_p, c_ulong]
X.XListProperties.restype = POINTER(c_ulong)
X.XListProperties.argtypes = [c_void_p, c_ulong, POINTER(c_int)]
X.XFree.argtypes = [c_void_p]
X.XGetInputFocus.argtypes = [c_void_p, POINTER(c_ulong), POINTER(c_int)]
X.XTranslateCoordinates.argtypes = [c_void_p, c_ulong, c_ulong, c_int, c_int, POINTER(c_int), POINTER(c_int), POINTER(c_ulong)]
X.XPending.argtypes = [c_void_p]
X.XNextEvent.argtypes = [c_void_p, POINTER(Event)]
X.XSelectInput.argtypes = [c_void_p, c_ulong, ctypes.c_long]
X.XCreateSimpleWindow.restype = c_ulong
X.XCreateSimpleWindow.argtypes = [c_void_p, c_ulong, c_int, c_int, c_uint, c_uint, c_uint, c_ulong, c_ulong]
X.XConvertSelection.argtypes = [c_void_p, c_ulong, c_ulong, c_ulong, c_ulong, c_ulong]
X.XGrabPointer.argtypes = [c_void_p, c_ulong, c_int, c_uint, c_int, c_int, c_ulong, c_ulong, c_ulong]
X.XGrabKeyboard.argtypes = [c_void_p, c_ulong, c_int, c_int, c_int, c_ulong]
X.XUngrabPointer.argtypes = X.XUngrabKeyboard.argtypes = [c_void_p, c_ulong]
F.XFixesQueryExtension.argtypes = [c_void_p, POINTER(c_int), POINTER(c_int)]
F.XFixesSelectSelectionInput.argtypes = [c_void_p, c_ulong, c_ulong, c_ulong]
T.XTestFakeMotionEvent.argtypes = [c_void_p, c_int, c_int, c_int, c_ulong]
T.XTestFakeButtonEvent.argtypes = [c_void_p, c_uint, c_int, c_ulong]
T.XTestFakeKeyEvent.argtypes = [c_void_p, c_uint, c_int, c_ulong]

ERROR_HANDLER = ctypes.CFUNCTYPE(c_int, c_void_p, c_void_p)(lambda display, event: 0)
X.XSetErrorHandler(ERROR_HANDLER)  # windows vanish while they are looked at


class Display:
    def __init__(self, name):
        self.display = X.XOpenDisplay(name.encode())
        if not self.display:
            raise RuntimeError(f"no X server at {name}")
        self.root = X.XDefaultRootWindow(self.display)
        self.drags_begun = 0
        self.sizes = {}
        self.unmanaged = []  # the windows without the window manager that are visible
        self.shown = []  # each of those that were shown, with its size, in order
        self.answers = 0  # of sources
        self.asking = X.XCreateSimpleWindow(self.display, self.root, 0, 0, 1, 1, 0, 0, 0)
        self.follow_drags()
        X.XSelectInput(self.display, self.root, SUBSTRUCTURE_NOTIFY)

    def follow_drags(self):
        first, errors = c_int(), c_int()
        F.XFixesQueryExtension(self.display, byref(first), byref(errors))
        self.selection_notify = first.value
        F.XFixesSelectSelectionInput(self.display, self.root, self.atom("XdndSelection"), NEW_OWNER)

    def close(self):
        X.XCloseDisplay(self.display)

    def sync(self):
        X.XSync(self.display, 0)

    # Input

    def move(self, x, y):
        T.XTestFakeMotionEvent(self.display, -1, int(x), int(y), 0)
        self.sync()

    def button(self, down, number=1):
        T.XTestFakeButtonEvent(self.display, number, down, 0)
        self.sync()

    def key(self, name, down):
        code = X.XKeysymToKeycode(self.display, X.XStringToKeysym(name.encode()))
        T.XTestFakeKeyEvent(self.display, code, down, 0)
        self.sync()

    def release_all(self):
        self.button(False)
        for name in ("Shift_L", "Super_L", "Control_L", "Alt_L", "Escape"):
            self.key(name, False)

    # What other clients do

    def read_events(self):
        self.sync()
        event = Event()
        while X.XPending(self.display):
            X.XNextEvent(self.display, byref(event))
            if event.type == self.selection_notify and event.selection.owner:
                self.drags_begun += 1
            elif event.type == SELECTION_NOTIFY and event.window.parent == self.asking:
                self.answers += 1
            elif event.window.parent == self.root:
                self.follow_window(event)

    def follow_window(self, event):
        window = event.window.window
        if event.type in (CREATE_NOTIFY, CONFIGURE_NOTIFY):
            self.sizes[window] = (event.window.width, event.window.height)
        elif event.type == MAP_NOTIFY and event.mapped.override_redirect:
            self.unmanaged.append(window)
            self.shown.append((window, self.sizes.get(window, (0, 0))))
        elif event.type in (UNMAP_NOTIFY, DESTROY_NOTIFY) and window in self.unmanaged:
            self.unmanaged.remove(window)

    def unmanaged_of(self, test):
        """The visible windows that the window manager leaves alone, of a size (width, height) that passes the test."""
        self.read_events()
        return [window for window in self.unmanaged if test(*self.sizes.get(window, (0, 0)))]

    def has_shown(self, client, test, since):
        """Whether the client of this window has shown one that passes since the first `since` of all, even if only briefly."""
        self.read_events()
        return any(window >> CLIENT_SHIFT == client >> CLIENT_SHIFT and test(*size) for window, size in self.shown[since:])

    def drags(self):
        """How many drags have begun on this display, of any client."""
        self.read_events()
        return self.drags_begun

    def ask_source(self):
        """Asks the source of the drag under way what it offers; answered() counts once it has come to that."""
        X.XConvertSelection(self.display, self.atom("XdndSelection"), self.atom("TARGETS"), self.atom("PELGRA_TEST"),
                            self.asking, CURRENT_TIME)
        self.sync()

    def answered(self):
        self.read_events()
        return self.answers

    def is_input_free(self):
        """Whether no client has grabbed the keyboard or the pointer."""
        keyboard = X.XGrabKeyboard(self.display, self.root, 0, ASYNCHRONOUSLY, ASYNCHRONOUSLY, CURRENT_TIME) == GRAB_SUCCESS
        pointer = X.XGrabPointer(self.display, self.root, 0, 0, ASYNCHRONOUSLY, ASYNCHRONOUSLY, 0, 0, CURRENT_TIME) == GRAB_SUCCESS
        X.XUngrabKeyboard(self.display, CURRENT_TIME)
        X.XUngrabPointer(self.display, CURRENT_TIME)
        self.sync()
        return keyboard and pointer

    # Windows

    def children(self, window):
        root, parent, count = c_ulong(), c_ulong(), c_uint()
        list_ = POINTER(c_ulong)()
        if not X.XQueryTree(self.display, window, byref(root), byref(parent), byref(list_), byref(count)):
            return []
        found = [list_[i] for i in range(count.value)]
        if count.value:
            X.XFree(list_)
        return found

    def attributes(self, window):
        attributes = Attributes()
        return attributes if X.XGetWindowAttributes(self.display, window, byref(attributes)) else None

    def name(self, window):
        text = c_char_p()
        if not X.XFetchName(self.display, window, byref(text)) or not text:
            return ""
        return text.value.decode(errors="replace")

    def atom(self, name):
        return X.XInternAtom(self.display, name.encode(), 0)

    def has_property(self, window, name):
        count = c_int()
        atoms = X.XListProperties(self.display, window, byref(count))
        found = self.atom(name) in atoms[:count.value] if count.value else False
        if count.value:
            X.XFree(atoms)
        return found

    def selection_owner(self, name):
        return X.XGetSelectionOwner(self.display, self.atom(name))

    def position(self, window):
        x, y, child = c_int(), c_int(), c_ulong()
        X.XTranslateCoordinates(self.display, window, self.root, 0, 0, byref(x), byref(y), byref(child))
        return x.value, y.value

    def walk(self, window=None, depth=4):
        for child in self.children(window or self.root):
            yield child
            if depth > 1:
                yield from self.walk(child, depth - 1)

    def visible(self, test):
        """The viewable windows for which test(window, attributes) holds."""
        found = []
        for window in self.walk():
            attributes = self.attributes(window)
            if attributes and attributes.map_state == VIEWABLE and test(window, attributes):
                found.append(window)
        return found

    def top(self):
        """The uppermost visible window but for the picture that a source drags with the pointer."""
        visible = [w for w in self.children(self.root) if self.is_viewable(w)]
        return next(w for w in reversed(visible) if self.attributes(w).width > 160)

    def named(self, title):
        found = self.visible(lambda window, attributes: attributes.width > 1 and title == self.name(window))
        return found[0] if found else None

    def showing(self, words):
        """A window with these words somewhere in its title."""
        found = self.visible(lambda window, attributes: attributes.width > 1 and words in self.name(window))
        return found[0] if found else None

    def focus(self):
        window, revert = c_ulong(), c_int()
        X.XGetInputFocus(self.display, byref(window), byref(revert))
        return window.value

    def is_viewable(self, window):
        attributes = self.attributes(window)
        return attributes is not None and attributes.map_state == VIEWABLE

    def pixel(self, point):
        """The colour (0xRRGGBB) of a point of the screen."""
        image = X.XGetImage(self.display, self.root, int(point[0]), int(point[1]), 1, 1, ALL_PLANES, PLAIN_IMAGE_FORMAT)
        colour = X.XGetPixel(image, 0, 0) & 0xFFFFFF
        X.XDestroyImage(image)
        return colour

    def pixels(self, window, points):
        """The colours (0xRRGGBB) of points inside a window."""
        attributes = self.attributes(window)
        image = X.XGetImage(self.display, window, 0, 0, attributes.width, attributes.height, ALL_PLANES, PLAIN_IMAGE_FORMAT)
        if not image:
            return []
        colours = [X.XGetPixel(image, x, y) & 0xFFFFFF for x, y in points]
        X.XDestroyImage(image)
        return colours

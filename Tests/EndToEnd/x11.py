"""Real input events and a look at the windows of an X display, through libX11 and libXtst."""
import ctypes
from ctypes import POINTER, byref, c_char_p, c_int, c_uint, c_ulong, c_void_p

PLAIN_IMAGE_FORMAT = 2
ALL_PLANES = 0xFFFFFFFF
VIEWABLE = 2


class Attributes(ctypes.Structure):
    _fields_ = [("x", c_int), ("y", c_int), ("width", c_int), ("height", c_int), ("border_width", c_int),
                ("depth", c_int), ("visual", c_void_p), ("root", c_ulong), ("class_", c_int), ("bit_gravity", c_int),
                ("win_gravity", c_int), ("backing_store", c_int), ("backing_planes", c_ulong),
                ("backing_pixel", c_ulong), ("save_under", c_int), ("colormap", c_ulong), ("map_installed", c_int),
                ("map_state", c_int), ("all_event_masks", ctypes.c_long), ("your_event_mask", ctypes.c_long),
                ("do_not_propagate_mask", ctypes.c_long), ("override_redirect", c_int), ("screen", c_void_p)]


X = ctypes.CDLL("libX11.so.6")
T = ctypes.CDLL("libXtst.so.6")
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
        found = self.visible(lambda window, attributes: attributes.width > 1 and title in self.name(window))
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

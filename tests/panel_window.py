# SPDX-License-Identifier: MIT
"""The panel's window as a screen reader sees it. Import after the session has set the environment."""

import itertools

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

from panel_session import TIME_LIMIT  # noqa: E402

TITLE = "VX-310 Control Panel"

HOME, DOWN, RETURN = 0xFF50, 0xFF54, 0xFF0D  # X11 key symbols

EVENTS = (
    "object:children-changed",
    "object:property-change",
    "object:state-changed",
    "object:text-changed",
    "object:selection-changed",
    "window",
)


class PanelWindow:
    """Finds controls by the text of their label."""

    def __init__(self, number=0):
        """`number` counts the panels on the display in the order of their start."""
        Atspi.init()
        self.number = number
        self.loop = GLib.MainLoop()
        self.changed = False
        self.listener = Atspi.EventListener.new(self.on_event)
        for event in EVENTS:
            self.listener.register(event)

    def on_event(self, _event):
        """May be called while the window is being read, so it only records the event."""
        self.changed = True
        self.loop.quit()

    def read_events(self):
        """Reads the events that have arrived. The accessibility bus refuses calls of a client that leaves too many."""
        while GLib.MainContext.default().iteration(False):
            pass

    def wait_for(self, condition, what, nudge=None):
        """Waits until the condition holds; it is evaluated after every accessibility event.

        `nudge` is (milliseconds, action): the action is repeated at that interval meanwhile.
        """
        timed_out = []

        def give_up():
            timed_out.append(True)
            self.loop.quit()
            return GLib.SOURCE_CONTINUE

        sources = [GLib.timeout_add_seconds(TIME_LIMIT, give_up)]
        if nudge:
            sources.append(GLib.timeout_add(nudge[0], lambda: nudge[1]() or GLib.SOURCE_CONTINUE))
        while not timed_out:
            self.changed = False
            if holds(condition):
                break
            if not self.changed:
                self.loop.run()
        for source in sources:
            GLib.source_remove(source)
        if timed_out:
            raise AssertionError(f"not seen within {TIME_LIMIT} s: {what}; showing: {self.fields()}")

    # Reading ------------------------------------------------------------------------------------

    def controls(self):
        """Every accessible of the panel's window."""
        panels = [child for child in children_of(Atspi.get_desktop(0)) if "vx310-panel" in child.get_name()]
        waiting = panels[self.number : self.number + 1]
        while waiting:
            control = waiting.pop()
            control.clear_cache()
            yield control
            waiting.extend(children_of(control))

    def is_active(self):
        """Whether the window has the focus."""
        return any(control.get_state_set().contains(Atspi.StateType.ACTIVE) for control in self.controls())

    def labelled(self):
        """The text of each label with the control that it labels."""
        for control in self.controls():
            if control.get_role() != Atspi.Role.LABEL:
                continue
            for relation in control.get_relation_set():
                if relation.get_relation_type() == Atspi.RelationType.LABEL_FOR:
                    field = relation.get_target(0)
                    field.clear_cache()
                    yield control.get_name(), field

    def fields(self):
        """The text of each labelled control, by the label's text; None for a hidden control.

        A field shows its text, a menu its selected item.
        """
        return {
            label: field.get_name() if is_showing(field) else None
            for label, field in self.labelled()
        }

    def status(self):
        """The text of the status line; None while it is hidden."""
        for control in self.controls():
            if control.get_role() == Atspi.Role.STATUS_BAR and is_showing(control):
                return control.get_name()
        return None

    def control_of(self, label):
        """The control of the label."""
        for text, field in self.labelled():
            if text == label:
                return field
        raise AssertionError(f"there is no label {label!r}")

    def button(self, name):
        for control in self.controls():
            if control.get_role() == Atspi.Role.PUSH_BUTTON and control.get_name() == name:
                return control
        raise AssertionError(f"there is no button {name!r}")

    def middle(self, control):
        """The centre of the control on the screen, in pixels."""
        place = Atspi.Component.get_extents(control, Atspi.CoordType.SCREEN)
        return place.x + place.width // 2, place.y + place.height // 2

    def place(self, control):
        """The control's edges in the window: left, top, right, bottom."""
        place = Atspi.Component.get_extents(control, Atspi.CoordType.WINDOW)
        return place.x, place.y, place.x + place.width, place.y + place.height

    def own_place(self):
        """The window's edges."""
        return next(self.place(control) for control in self.controls() if control.get_name() == TITLE)

    def shown_controls(self):
        """The visible texts, pictures, menus and buttons."""
        roles = (Atspi.Role.LABEL, Atspi.Role.COMBO_BOX, Atspi.Role.PUSH_BUTTON, Atspi.Role.IMAGE)
        return [c for c in self.controls() if c.get_role() in roles and is_showing(c)]

    def shown(self):
        """Their places by role and name."""
        return {(c.get_role_name(), c.get_name()): self.place(c) for c in self.shown_controls()}

    def inside(self):
        """The role and name of those that nothing around them cuts."""
        return {(c.get_role_name(), c.get_name()) for c in self.shown_controls() if self.is_inside(c)}

    def is_inside(self, control):
        left, top, right, bottom = self.place(control)
        while control.get_name() != TITLE:
            control = control.get_parent()
            outer = self.place(control)
            if left < outer[0] or top < outer[1] or right > outer[2] or bottom > outer[3]:
                return False
        return left < right and top < bottom

    def scroll_bars(self):
        """The visible ones."""
        return [c for c in self.controls() if c.get_role() == Atspi.Role.SCROLL_BAR and is_showing(c)]

    def seen_while_scrolling(self):
        """What is inside the window in at least one of several positions of the scroll bars."""
        positions = [
            [(bar, int(part * Atspi.Value.get_maximum_value(bar) / 3)) for part in range(4)]
            for bar in self.scroll_bars()
        ]
        seen = set()
        for position in itertools.product(*positions):
            for bar, value in position:
                self.scroll(bar, value)
            seen |= self.inside()
        return seen

    def focused_inside(self):
        """The names of the controls with the focus that nothing cuts."""
        return [
            c.get_name()
            for c in self.shown_controls()
            if c.get_state_set().contains(Atspi.StateType.FOCUSED) and self.is_inside(c)
        ]

    def is_open(self, menu):
        """Whether the menu's list of items is showing."""
        items = menu.get_child_at_index(0)
        items.clear_cache()
        return is_showing(items)

    # Acting through the accessibility tree --------------------------------------------------------

    def press(self, name):
        """Presses the button called `name`."""
        try:
            Atspi.Action.do_action(self.button(name), 0)
        except GLib.Error:
            pass  # the program may be gone before it has answered

    def items_of(self, label):
        """The texts of a menu's items."""
        return [item.get_name() for item in children_of(self.control_of(label).get_child_at_index(0))]

    def scroll(self, bar, value):
        Atspi.Value.set_current_value(bar, value)
        self.wait_for(lambda: Atspi.Value.get_current_value(bar) == value, f"scrolled to {value}")

    def pick(self, label, index):
        """Opens the label's menu and moves to the item with the keys."""
        menu = self.control_of(label)
        Atspi.Action.do_action(menu, 0)
        self.wait_for(lambda: self.is_open(menu), f"{label}, open")
        for key in [HOME] + [DOWN] * index + [RETURN]:
            Atspi.generate_keyboard_event(key, None, Atspi.KeySynthType.SYM)
        self.wait_for(lambda: not self.is_open(menu), f"{label}, closed")


def holds(condition):
    """Whether the condition holds; false while the window is busy or changing and cannot be read."""
    try:
        return condition()
    except GLib.Error:
        return False


def children_of(control):
    return filter(None, (control.get_child_at_index(i) for i in range(control.get_child_count())))


def is_showing(control):
    return control.get_state_set().contains(Atspi.StateType.SHOWING)

"""The panel's window as a screen reader sees it. Import after the session has set the environment."""

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

from panel_session import TIME_LIMIT  # noqa: E402

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

    def __init__(self):
        Atspi.init()
        self.loop = GLib.MainLoop()
        self.changed = False
        self.listener = Atspi.EventListener.new(self.on_event)
        for event in EVENTS:
            self.listener.register(event)

    def on_event(self, _event):
        """Also comes while the window is being read, so it only takes notice."""
        self.changed = True
        self.loop.quit()

    def wait_for(self, condition, what, nudge=None):
        """Returns once the condition holds; it is asked again after every accessibility event.

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
        waiting = [child for child in children_of(Atspi.get_desktop(0)) if "vx310-panel" in child.get_name()]
        while waiting:
            control = waiting.pop()
            control.clear_cache()
            yield control
            waiting.extend(children_of(control))

    def fields(self):
        """What the control beside each label shows, by the label's text; None for a hidden one.

        A field shows its text, a menu its selected item.
        """
        shown = {}
        for control in self.controls():
            if control.get_role() != Atspi.Role.LABEL:
                continue
            for relation in control.get_relation_set():
                if relation.get_relation_type() == Atspi.RelationType.LABEL_FOR:
                    field = relation.get_target(0)
                    field.clear_cache()
                    shown[control.get_name()] = field.get_name() if is_showing(field) else None
        return shown

    def press(self, name):
        """Presses the button called `name`."""
        for control in self.controls():
            if control.get_role() == Atspi.Role.PUSH_BUTTON and control.get_name() == name:
                try:
                    control.get_action_iface().do_action(0)
                except GLib.Error:
                    pass  # the program may be gone before it has answered
                return
        raise AssertionError(f"there is no button {name!r}")


def holds(condition):
    """Whether it holds; a window that is busy or just changing cannot say, so it does not yet."""
    try:
        return condition()
    except GLib.Error:
        return False


def children_of(control):
    return filter(None, (control.get_child_at_index(i) for i in range(control.get_child_count())))


def is_showing(control):
    return control.get_state_set().contains(Atspi.StateType.SHOWING)

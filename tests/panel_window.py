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
        self.condition = None
        self.listener = Atspi.EventListener.new(self.on_event)
        for event in EVENTS:
            self.listener.register(event)

    def on_event(self, _event):
        if self.condition and holds(self.condition):
            self.loop.quit()

    def wait_for(self, condition, what, nudge=None):
        """Returns once the condition holds; it is asked again after every accessibility event.

        `nudge` is (milliseconds, action): the action is repeated at that interval meanwhile.
        """
        timed_out = []
        nudges = 0

        def give_up():
            timed_out.append(True)
            self.loop.quit()
            return GLib.SOURCE_REMOVE

        self.condition = condition
        if not holds(condition):
            limit = GLib.timeout_add_seconds(TIME_LIMIT, give_up)
            if nudge:
                nudges = GLib.timeout_add(nudge[0], lambda: nudge[1]() or GLib.SOURCE_CONTINUE)
            self.loop.run()
            if not timed_out:
                GLib.source_remove(limit)
            if nudges:
                GLib.source_remove(nudges)
        self.condition = None
        if timed_out:
            raise AssertionError(f"not seen within {TIME_LIMIT} s: {what}; showing: {self.shown_texts()}")

    # Reading ------------------------------------------------------------------------------------

    def controls(self):
        """Every accessible of the panel's window."""
        desktop = Atspi.get_desktop(0)
        waiting = [
            child
            for child in (desktop.get_child_at_index(i) for i in range(desktop.get_child_count()))
            if child and "vx310-panel" in (name_of(child) or "")
        ]
        while waiting:
            control = waiting.pop()
            yield control
            try:
                control.clear_cache()
                count = control.get_child_count()
                waiting.extend(filter(None, (control.get_child_at_index(i) for i in range(count))))
            except GLib.Error:
                pass  # it went away while it was being read

    def shown_texts(self):
        """The texts of all labels that are on the screen."""
        return sorted(
            name_of(control)
            for control in self.controls()
            if role_of(control) == Atspi.Role.LABEL and is_showing(control) and name_of(control)
        )

    def labelled(self, label):
        """The control beside `label`, shown or not; None when there is no such label."""
        for control in self.controls():
            if role_of(control) == Atspi.Role.LABEL and name_of(control) == label:
                for relation in control.get_relation_set():
                    if relation.get_relation_type() == Atspi.RelationType.LABEL_FOR:
                        return relation.get_target(0)
        return None

    def press(self, name):
        """Presses the button called `name`."""
        for control in self.controls():
            if role_of(control) == Atspi.Role.PUSH_BUTTON and name_of(control) == name:
                try:
                    control.get_action_iface().do_action(0)
                except GLib.Error:
                    pass  # the program may be gone before it has answered
                return
        raise AssertionError(f"there is no button {name!r}")

    def text_beside(self, label):
        """What the field beside `label` shows; None when it is hidden."""
        field = self.labelled(label)
        return name_of(field) if field and is_showing(field) else None


def holds(condition):
    """Whether it holds; a window that is busy or just changing cannot say, so it does not yet."""
    try:
        return condition()
    except GLib.Error:
        return False


def name_of(control):
    try:
        control.clear_cache()
        return control.get_name()
    except GLib.Error:
        return None


def role_of(control):
    try:
        return control.get_role()
    except GLib.Error:
        return None


def is_showing(control):
    try:
        control.clear_cache()
        return control.get_state_set().contains(Atspi.StateType.SHOWING)
    except GLib.Error:
        return False

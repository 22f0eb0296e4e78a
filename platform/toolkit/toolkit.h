// SPDX-License-Identifier: MIT
// Toolkit seam: the application's main loop, its window and the controls in it.
//
// A control here is a small value that refers to a control of the loaded window; copies refer to
// the same control, which the window owns. An empty control (default-constructed, or not in the
// window) ignores every call and returns zeros. Sizes and positions are in points; the origin is
// the lower left corner of the enclosing view, y growing upwards. Texts are UTF-8.
//
// Main thread only.
//
// Back ends: qt/ (Qt 6 Widgets, the window is a Designer file), recording/ (controls as plain state
// and a log of every operation in order).
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

struct NSSize {
  double width = 0;
  double height = 0;
  bool operator==(const NSSize&) const = default;
};

struct NSPoint {
  double x = 0;
  double y = 0;
  bool operator==(const NSPoint&) const = default;
};

struct NSRect {
  NSPoint origin;
  NSSize size;
  bool operator==(const NSRect&) const = default;
};

// A picture of the application's resources; empty if it was not found.
class NSImage {
 public:
  NSImage() = default;
  // Loads the resource `name` ("VX-310.png") in the resolution for the screen.
  static NSImage imageNamed(std::string_view name);

  bool empty() const { return picture_ == nullptr; }
  const std::shared_ptr<const void>& picture() const { return picture_; }

 private:
  explicit NSImage(std::shared_ptr<const void> picture) : picture_(std::move(picture)) {}
  std::shared_ptr<const void> picture_;  // of a type of the back end
};

// A fill: an image repeated in both directions. An empty image keeps the window's own colour.
struct NSColor {
  static NSColor colorWithPatternImage(NSImage image) { return NSColor{std::move(image)}; }
  NSImage pattern;
};

class NSView {
 public:
  NSView() = default;
  explicit NSView(void* object) : object_(object) {}

  NSView superview() const;  // no program calls this
  NSRect frame() const;
  void setFrame(NSRect frame);
  // Redraws the view before it returns. No program calls this.
  void display();

  void* object() const { return object_; }

 private:
  void* object_ = nullptr;  // the back end's control; owned by the window
};

class NSWindow {
 public:
  NSWindow() = default;
  explicit NSWindow(void* object) : object_(object) {}

  void setBackgroundColor(const NSColor& color);

 private:
  void* object_ = nullptr;
};

class NSControl : public NSView {
 public:
  using NSView::NSView;

  void setHidden(bool hidden);
  void setEnabled(bool enabled);
  NSWindow window() const;
};

class NSTextField : public NSControl {
 public:
  using NSControl::NSControl;
  void setStringValue(std::string_view text);
};

class NSPopUpButton : public NSControl {
 public:
  using NSControl::NSControl;

  // Selects the item at zero-based `index`; an index outside the items clears the selection.
  void selectItemAtIndex(std::int32_t index);
  // Clears the selection; null is the only argument in use.
  void selectItem(std::nullptr_t);
  // -1 when no item is selected.
  std::int32_t indexOfSelectedItem() const;
};

class NSButton : public NSControl {
 public:
  using NSControl::NSControl;
};

class NSImageView : public NSControl {
 public:
  using NSControl::NSControl;

  // Shows the image, scaled to the view; an empty image clears the view.
  void setImage(const NSImage& image);
  void setFrameSize(NSSize size);
  void setFrameOrigin(NSPoint origin);
};

// Base class of the window file's owner.
class NSObject {
 public:
  NSObject() = default;
  NSObject(const NSObject&) = delete;
  NSObject& operator=(const NSObject&) = delete;
  virtual ~NSObject() = default;

  // Called once, after the outlets are connected and the window has been painted as loaded.
  virtual void awakeFromNib() {}
};

class NSApplicationDelegate {
 public:
  virtual void applicationDidFinishLaunching() = 0;
  virtual void applicationWillTerminate() = 0;
  virtual bool applicationShouldTerminateAfterLastWindowClosed() = 0;

 protected:
  ~NSApplicationDelegate() = default;
};

// The loaded window file. Returns an empty control when it has none of that name and kind.
class NSNib {
 public:
  virtual NSTextField textField(std::string_view name) = 0;
  virtual NSPopUpButton popUpButton(std::string_view name) = 0;
  virtual NSImageView imageView(std::string_view name) = 0;
  virtual NSButton button(std::string_view name) = 0;

  using Action = std::function<void()>;
  // Runs `action` whenever the user picks an item of the menu or presses the button `name`; items
  // that the program selects do not run it. The window owns the action and destroys it with itself.
  virtual void connectAction(std::string_view name, Action action) = 0;

 protected:
  ~NSNib() = default;
};

// Makes the window file's owner and binds its outlets to the controls of `nib`, which outlives the
// owner.
using NSNibLoader = std::unique_ptr<NSObject> (*)(NSNib& nib);

// The first word of the command line that is no option of the toolkit and its window systems, which
// would pass over it; null when there is none.
const char* NSApplicationForeignWord(int argc, const char* const* argv);

// Runs the application: loads the window, makes its owner with `loader`, shows the window and
// paints it once, calls awakeFromNib, paints it again, calls the delegate's
// applicationDidFinishLaunching, then runs the main loop of the calling thread until the
// application is terminated: by NSAppTerminate, by closing the last window if the delegate agrees,
// or by SIGINT, SIGTERM or SIGHUP. A signal that was ignored when the program started stays
// ignored; SIGPIPE never ends the program. Before it returns it calls applicationWillTerminate once
// and destroys the owner. Returns the program's exit status.
int NSApplicationMain(int argc, char** argv, NSNibLoader loader);

// Sets the application's delegate, which is not owned; null for none.
void NSAppSetDelegate(NSApplicationDelegate* delegate);

// Shows the window, in front of others where the desktop allows it. `token` is the XDG activation
// token of the user's action; empty for none. Does nothing without a window.
void NSAppActivate(std::string_view token);

// Terminates the application after the event that is being handled.
void NSAppTerminate();

// The path of the application package, without a slash at the end. Its resources are in the folder
// "Contents/Resources".
std::string NSBundleMainBundlePath();

// Opens a file with the desktop's application for it; false when there is none.
bool NSWorkspaceOpenFile(std::string_view path);

// SPDX-License-Identifier: MIT
// Toolkit seam: the application's main loop, its window and the controls in it.
//
// Controls are small values that name a control of the loaded window; copies name the same control,
// which belongs to the window. One that names nothing (made by default, or an outlet that the
// window lacks) drops what it is told and answers with zeros. Sizes and positions are in points;
// the origin is the lower left corner of the enclosing view, y growing upwards. Texts are UTF-8.
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

// A picture among the application's resources. One that could not be found is empty.
class NSImage {
 public:
  NSImage() = default;
  // Finds the resource `name` ("VX-310.png"), in the resolutions that it comes in.
  static NSImage imageNamed(std::string_view name);

  bool empty() const { return picture_ == nullptr; }
  const std::shared_ptr<const void>& picture() const { return picture_; }

 private:
  explicit NSImage(std::shared_ptr<const void> picture) : picture_(std::move(picture)) {}
  std::shared_ptr<const void> picture_;  // the back end's own form
};

// A fill: here, always an image repeated in both directions. An empty image leaves the
// window's own colour.
struct NSColor {
  static NSColor colorWithPatternImage(NSImage image) { return NSColor{std::move(image)}; }
  NSImage pattern;
};

class NSView {
 public:
  NSView() = default;
  explicit NSView(void* object) : object_(object) {}

  NSView superview() const;
  NSRect frame() const;
  void setFrame(NSRect frame);
  // Redraws the view now.
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
  // Selects the item; null, the one value used, clears the selection.
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

  // Shows the image, scaled to the view; an empty one empties the view.
  void setImage(const NSImage& image);
  void setFrameSize(NSSize size);
  void setFrameOrigin(NSPoint origin);
};

// The root of the objects that a window file makes.
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

// The loaded window file. A control that is not in it, or of another kind, comes back naming
// nothing.
class NSNib {
 public:
  virtual NSTextField textField(std::string_view name) = 0;
  virtual NSPopUpButton popUpButton(std::string_view name) = 0;
  virtual NSImageView imageView(std::string_view name) = 0;
  virtual NSButton button(std::string_view name) = 0;

  using Action = std::function<void()>;
  // Runs `action` whenever the user picks an item of the menu or presses the button called `name`.
  // What the program selects does not run it. The window owns the action and drops it when it goes.
  virtual void connectAction(std::string_view name, Action action) = 0;

 protected:
  ~NSNib() = default;
};

// Makes the file's owner and binds its outlets to the controls of `nib`, which lives until the
// owner has been destroyed.
using NSNibLoader = std::unique_ptr<NSObject> (*)(NSNib& nib);

// Runs the application: loads the window, lets `loader` make its owner, shows the window and paints
// it once, calls awakeFromNib, paints it again, calls the delegate's applicationDidFinishLaunching,
// then runs the main loop of the calling thread until the application is terminated: by
// NSAppTerminate, by closing the last window when the delegate agrees, or by SIGINT, SIGTERM or
// SIGHUP (one that was ignored when the program started stays ignored; SIGPIPE never ends it).
// Before it returns it calls applicationWillTerminate once and destroys the owner. Returns the
// program's exit status.
int NSApplicationMain(int argc, char** argv, NSNibLoader loader);

// The receiver of the application's questions and notices, not owned; null for none.
void NSAppSetDelegate(NSApplicationDelegate* delegate);

// Ends the application once the event being handled is done.
void NSAppTerminate();

// The folder of the application package, without a slash at the end. Its resources are below
// "Contents/Resources".
std::string NSBundleMainBundlePath();

// Opens a file with the application that the user's desktop has for it; false when it has none.
bool NSWorkspaceOpenFile(std::string_view path);

#include "app/kv_panel_nib.h"
#include "platform/toolkit/toolkit.h"

int main(int argc, char** argv) { return NSApplicationMain(argc, argv, loadPanelNib); }

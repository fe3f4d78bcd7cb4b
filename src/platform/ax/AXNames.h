#pragma once

namespace tessiva::ax {

// Attribute, role, action and notification names of the Accessibility interface, as strings so
// the core never includes a system header.
inline constexpr const char* kRole = "AXRole";
inline constexpr const char* kTitle = "AXTitle";
inline constexpr const char* kDescription = "AXDescription";
inline constexpr const char* kValue = "AXValue";
inline constexpr const char* kChildren = "AXChildren";
inline constexpr const char* kParent = "AXParent";
inline constexpr const char* kSelected = "AXSelected";
inline constexpr const char* kSelectedChildren = "AXSelectedChildren";
inline constexpr const char* kSelectedRows = "AXSelectedRows";
inline constexpr const char* kMainWindow = "AXMainWindow";
inline constexpr const char* kFocusedWindow = "AXFocusedWindow";
inline constexpr const char* kFocusedUIElement = "AXFocusedUIElement";
inline constexpr const char* kPosition = "AXPosition";
inline constexpr const char* kSize = "AXSize";
inline constexpr const char* kSubrole = "AXSubrole";
inline constexpr const char* kValueDescription = "AXValueDescription";
inline constexpr const char* kDocument = "AXDocument";
inline constexpr const char* kWindows = "AXWindows";
inline constexpr const char* kWindow = "AXWindow";
inline constexpr const char* kTopLevelUIElement = "AXTopLevelUIElement";
inline constexpr const char* kFocused = "AXFocused";
inline constexpr const char* kFrame = "AXFrame";
inline constexpr const char* kHelp = "AXHelp";
inline constexpr const char* kRoleDescription = "AXRoleDescription";
inline constexpr const char* kModal = "AXModal";

inline constexpr const char* kRoleApplication = "AXApplication";
inline constexpr const char* kRoleWindow = "AXWindow";
inline constexpr const char* kRoleSheet = "AXSheet";
inline constexpr const char* kRoleGroup = "AXGroup";
inline constexpr const char* kRoleTable = "AXTable";
inline constexpr const char* kRoleOutline = "AXOutline";
inline constexpr const char* kRoleRow = "AXRow";
inline constexpr const char* kRoleTextField = "AXTextField";
inline constexpr const char* kRoleButton = "AXButton";
inline constexpr const char* kRoleSlider = "AXSlider";
inline constexpr const char* kRoleStaticText = "AXStaticText";
inline constexpr const char* kRoleLayoutItem = "AXLayoutItem";
inline constexpr const char* kRoleLayoutArea = "AXLayoutArea";
inline constexpr const char* kRoleScrollArea = "AXScrollArea";
inline constexpr const char* kRoleSplitGroup = "AXSplitGroup";
inline constexpr const char* kRoleSplitter = "AXSplitter";
inline constexpr const char* kRoleRadioButton = "AXRadioButton";
inline constexpr const char* kRoleCheckBox = "AXCheckBox";
inline constexpr const char* kRoleDisclosureTriangle = "AXDisclosureTriangle";

inline constexpr const char* kSubroleStandardWindow = "AXStandardWindow";
inline constexpr const char* kSubroleDialog = "AXDialog";
inline constexpr const char* kSubroleSystemDialog = "AXSystemDialog";
inline constexpr const char* kSubroleFloatingWindow = "AXFloatingWindow";

inline constexpr const char* kActionPress = "AXPress";
inline constexpr const char* kActionShowMenu = "AXShowMenu";

inline constexpr const char* kFocusedUIElementChanged = "AXFocusedUIElementChanged";
inline constexpr const char* kFocusedWindowChanged = "AXFocusedWindowChanged";
inline constexpr const char* kMainWindowChanged = "AXMainWindowChanged";
inline constexpr const char* kValueChanged = "AXValueChanged";
inline constexpr const char* kSelectedChildrenChanged = "AXSelectedChildrenChanged";
inline constexpr const char* kSelectedRowsChanged = "AXSelectedRowsChanged";
inline constexpr const char* kRowCountChanged = "AXRowCountChanged";
inline constexpr const char* kLayoutChanged = "AXLayoutChanged";
inline constexpr const char* kTitleChanged = "AXTitleChanged";
inline constexpr const char* kUIElementDestroyed = "AXUIElementDestroyed";

}  // namespace tessiva::ax

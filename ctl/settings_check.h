// Whether the daemon would get its settings, asked of the module from which it gets them.
#pragma once

// Throws CtlError that names the cause when it would not: it then keeps what it has, and says nothing.
void RefuseUnreadableSettings();

// In two steps, for who fetches them himself in between: loads the module, or throws CtlError, and limits its
// calls that give settings; throws CtlError with the cause why they gave none. The first once.
void LoadSettingsModule();
[[noreturn]] void ThrowNoSettings();

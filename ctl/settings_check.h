// Whether the daemon would get its settings, asked of the module from which it gets them.
#pragma once

// Throws CtlError that names the cause when it would not: it then keeps what it has, and says nothing.
void RefuseUnreadableSettings();

#pragma once

// The window's way of asking for an account of a file server (MGServerLogins): when the
// server refuses, a login sheet over the window that shows an item of that server asks for
// the name and password of an account allowed to do it; the request is then made once more
// with it. Installed once per process by the first plug-in object.
namespace MGAclServerLogin {
void install();
}

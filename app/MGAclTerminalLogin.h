#pragma once

// Asks on the terminal for an account of a file server when the server refuses a request
// (MGServerLogins): its user name, then its password without echo. Installed only when
// the program has a terminal and was given no authentication file.
namespace MGAclTerminalLogin {
void install();
}

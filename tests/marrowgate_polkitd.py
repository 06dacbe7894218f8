'''A polkit authority for the ACL editor's tests.

Allows the actions given with SetAllowed. With SetDismissed(True) an interactive check of
any other action answers as if the user closed the authentication dialog. With
SetHangService(True) non-interactive checks (the ones the privileged service makes) get
no answer until the caller gives up, so a test can kill the service mid-call;
SetHangCaller(name) does the same for one caller's checks only.
'''

import dbus

from dbusmock import MOCK_IFACE

BUS_NAME = 'org.freedesktop.PolicyKit1'
MAIN_OBJ = '/org/freedesktop/PolicyKit1/Authority'
MAIN_IFACE = 'org.freedesktop.PolicyKit1.Authority'
SYSTEM_BUS = True
INTERACTIVE = 1


def load(mock, _parameters):
    mock.allowed = []
    mock.dismissed = False
    mock.hang_service = False
    mock.hang_caller = ''
    mock.hanging = []
    mock.checks = []


@dbus.service.method(MAIN_IFACE, in_signature='(sa{sv})sa{ss}us', out_signature='(bba{ss})',
                     async_callbacks=('ok_cb', '_err_cb'))
def CheckAuthorization(self, subject, action_id, _details, flags, _cancellation_id, ok_cb, _err_cb):
    self.checks.append((str(subject[0]), str(subject[1].get('name', '')), str(action_id), int(flags)))
    hang = self.hang_service or (self.hang_caller and str(subject[1].get('name', '')) == self.hang_caller)
    if hang and not flags & INTERACTIVE:
        self.hanging.append(ok_cb)
        return
    if action_id in self.allowed:
        ok_cb((True, False, {}))
    elif self.dismissed and flags & INTERACTIVE:
        ok_cb((False, False, {'polkit.dismissed': 'true'}))
    else:
        ok_cb((False, False, {}))


@dbus.service.method(MOCK_IFACE, in_signature='as', out_signature='')
def SetAllowed(self, actions):
    self.allowed = [str(a) for a in actions]


@dbus.service.method(MOCK_IFACE, in_signature='b', out_signature='')
def SetDismissed(self, dismissed):
    self.dismissed = bool(dismissed)


@dbus.service.method(MOCK_IFACE, in_signature='b', out_signature='')
def SetHangService(self, hang):
    self.hang_service = bool(hang)
    self.hang_caller = ''
    self.hanging = []


@dbus.service.method(MOCK_IFACE, in_signature='', out_signature='u')
def HangingCount(self):
    return len(self.hanging)


@dbus.service.method(MOCK_IFACE, in_signature='', out_signature='a(sssu)')
def TakeChecks(self):
    checks, self.checks = self.checks, []
    return checks


@dbus.service.method(MOCK_IFACE, in_signature='s', out_signature='')
def SetHangCaller(self, name):
    '''Non-interactive checks for this bus name get no answer, as if polkit were stuck on it.'''
    self.hang_caller = str(name)

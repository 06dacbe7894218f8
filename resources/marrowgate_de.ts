<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE" sourcelanguage="en">
<context>
    <name>ACL</name>
    <message>
        <source>Allow</source>
        <translation>Zulassen</translation>
    </message>
    <message>
        <source>Deny</source>
        <translation>Verweigern</translation>
    </message>
    <message>
        <source>Undefined</source>
        <translation>Undefiniert</translation>
    </message>
    <message>
        <source>Full Control</source>
        <translation>Vollzugriff</translation>
    </message>
    <message>
        <source>Read</source>
        <translation>Lesen</translation>
    </message>
    <message>
        <source>Write</source>
        <translation>Schreiben</translation>
    </message>
    <message>
        <source>Read &amp; Write</source>
        <translation>Lesen &amp; Schreiben</translation>
    </message>
    <message>
        <source>No Access</source>
        <translation>Kein Zugriff</translation>
    </message>
    <message>
        <source>Custom…</source>
        <translation>Benutzerdefiniert…</translation>
    </message>
    <message>
        <source>Groups</source>
        <translation>Gruppen</translation>
    </message>
    <message>
        <source>Users</source>
        <translation>Benutzer</translation>
    </message>
    <message>
        <source>Read Data</source>
        <translation>Daten lesen</translation>
    </message>
    <message>
        <source>Write Data</source>
        <translation>Daten schreiben</translation>
    </message>
    <message>
        <source>Append Data</source>
        <translation>Daten anhängen</translation>
    </message>
    <message>
        <source>List Folder</source>
        <translation>Ordner auflisten</translation>
    </message>
    <message>
        <source>Create Files</source>
        <translation>Dateien erstellen</translation>
    </message>
    <message>
        <source>Create Folders</source>
        <translation>Ordner erstellen</translation>
    </message>
    <message>
        <source>Read Extended Attributes</source>
        <translation>Erweiterte Attribute lesen</translation>
    </message>
    <message>
        <source>Write Extended Attributes</source>
        <translation>Erweiterte Attribute schreiben</translation>
    </message>
    <message>
        <source>Traverse Folder</source>
        <translation>Ordner durchsuchen</translation>
    </message>
    <message>
        <source>Delete Subfolders and Files</source>
        <translation>Unterordner und Dateien löschen</translation>
    </message>
    <message>
        <source>Read Attributes</source>
        <translation>Attribute lesen</translation>
    </message>
    <message>
        <source>Write Attributes</source>
        <translation>Attribute schreiben</translation>
    </message>
    <message>
        <source>Delete</source>
        <translation>Löschen</translation>
    </message>
    <message>
        <source>Read Permissions</source>
        <translation>Berechtigungen lesen</translation>
    </message>
    <message>
        <source>Change Permissions</source>
        <translation>Berechtigungen ändern</translation>
    </message>
    <message>
        <source>Take Ownership</source>
        <translation>Besitz übernehmen</translation>
    </message>
    <message>
        <source>Synchronize</source>
        <translation>Synchronisieren</translation>
    </message>
    <message>
        <source>Set of Permissions</source>
        <translation>Berechtigungen</translation>
    </message>
    <message>
        <source>Effective Permissions</source>
        <translation>Effektive Berechtigungen</translation>
    </message>
    <message>
        <source>ACL and permission settings are changed, but not applied</source>
        <translation>ACL- und Berechtigungseinstellungen wurden geändert, aber nicht angewendet</translation>
    </message>
    <message>
        <source>Do you want to apply changed ACL and permissions settings for item &quot;%@&quot;?</source>
        <translation>Möchten Sie die geänderten ACL- und Berechtigungseinstellungen für das Objekt „%@“ anwenden?</translation>
    </message>
    <message>
        <source>Sort Access Control List Canonically</source>
        <translation>Zugriffssteuerungsliste kanonisch sortieren</translation>
    </message>
    <message>
        <source>Remove Inherited Entries</source>
        <translation>Geerbte Einträge entfernen</translation>
    </message>
    <message>
        <source>Make Inherited Entries Explicit</source>
        <translation>Geerbte Einträge explizit machen</translation>
    </message>
    <message>
        <source>Inherit Entries from Parent Folder</source>
        <translation>Einträge vom übergeordneten Ordner erben</translation>
    </message>
    <message>
        <source>Propagate Permissions…</source>
        <translation>Berechtigungen weitergeben…</translation>
    </message>
    <message>
        <source>Are you sure you want to propagate ACL, owner, group, and permissions to all items down the directory hierarchy?</source>
        <translation>Möchten Sie ACL, Eigentümer, Gruppe und Berechtigungen wirklich an alle Objekte unterhalb dieses Ordners weitergeben?</translation>
    </message>
    <message>
        <source>Access Control List</source>
        <translation>Zugriffssteuerungsliste</translation>
    </message>
    <message>
        <source>POSIX Permissions</source>
        <translation>POSIX-Berechtigungen</translation>
    </message>
    <message>
        <source>Owner</source>
        <translation>Eigentümer</translation>
    </message>
    <message>
        <source>Group</source>
        <translation>Gruppe</translation>
    </message>
    <message>
        <source>Other</source>
        <translation>Andere</translation>
    </message>
    <message>
        <source>Mask</source>
        <translation>Maske</translation>
    </message>
    <message>
        <source>Everyone</source>
        <translation>Jeder</translation>
    </message>
    <message>
        <source>Type</source>
        <translation>Typ</translation>
    </message>
    <message>
        <source>User or Group</source>
        <translation>Benutzer oder Gruppe</translation>
    </message>
    <message>
        <source>Permissions</source>
        <translation>Berechtigungen</translation>
    </message>
    <message>
        <source>Inherited</source>
        <translation>Geerbt</translation>
    </message>
    <message>
        <source>User or group:</source>
        <translation>Benutzer oder Gruppe:</translation>
    </message>
    <message>
        <source>Done</source>
        <translation>Fertig</translation>
    </message>
    <message>
        <source>Add Entry</source>
        <translation>Eintrag hinzufügen</translation>
    </message>
    <message>
        <source>Remove Entry</source>
        <translation>Eintrag entfernen</translation>
    </message>
    <message>
        <source>(new items only)</source>
        <translation>(nur neue Objekte)</translation>
    </message>
    <message>
        <source>ACL…</source>
        <translation>ACL…</translation>
    </message>
    <message>
        <source>Administration</source>
        <translation>Verwaltung</translation>
    </message>
    <message>
        <source>Execute</source>
        <translation>Ausführen</translation>
    </message>
    <message>
        <source>Actions</source>
        <translation>Aktionen</translation>
    </message>
    <message>
        <source>The file system of this item (%1) keeps no ACLs: only the owner, the group and everyone can be given permissions here.</source>
        <translation>Das Dateisystem dieses Objekts (%1) kennt keine ACLs: Hier lassen sich nur dem Eigentümer, der Gruppe und allen Berechtigungen geben.</translation>
    </message>
    <message>
        <source># What “%1” may do with %2 items below “%3”</source>
        <translation># Was „%1“ mit %2 Objekten unter „%3“ tun darf</translation>
    </message>
    <message>
        <source># “%1” cannot enter the folder “%2” on this item's path: nothing here is within their reach.</source>
        <translation># „%1“ kann den Ordner „%2“ auf dem Pfad dieses Objekts nicht betreten: Nichts hier ist erreichbar.</translation>
    </message>
    <message>
        <source>“%1” cannot enter the folder “%2” on this item's path: whatever the item allows below, it is out of their reach until that folder lets them in.</source>
        <translation>„%1“ kann den Ordner „%2“ auf dem Pfad dieses Objekts nicht betreten: Was das Objekt unten erlaubt, bleibt unerreichbar, bis dieser Ordner den Zugang gewährt.</translation>
    </message>
    <message>
        <source>“%1” is a symbolic link: this window shows and changes the item it leads to, “%2”.</source>
        <translation>„%1“ ist eine symbolische Verknüpfung: Dieses Fenster zeigt und ändert das Objekt, auf das sie verweist, „%2“.</translation>
    </message>
    <message>
        <source>Effective access</source>
        <translation>Effektiver Zugriff</translation>
    </message>
    <message>
        <source>User or group</source>
        <translation>Benutzer oder Gruppe</translation>
    </message>
    <message>
        <source>What the chosen user or group may do with the item</source>
        <translation>Was der gewählte Benutzer oder die gewählte Gruppe mit dem Objekt darf</translation>
    </message>
    <message>
        <source>Whose effective access is shown; type to find a user or group</source>
        <translation>Wessen effektiver Zugriff angezeigt wird; tippen, um einen Benutzer oder eine Gruppe zu finden</translation>
    </message>
    <message>
        <source>Access control entries</source>
        <translation>Zugriffssteuerungseinträge</translation>
    </message>
    <message>
        <source>Adds an entry below the selected one</source>
        <translation>Fügt unter dem ausgewählten Eintrag einen neuen hinzu</translation>
    </message>
    <message>
        <source>Commands for the whole list</source>
        <translation>Befehle für die ganze Liste</translation>
    </message>
    <message>
        <source>Enter shows the selected entry&apos;s permissions, Delete removes it, Tab reaches its controls; drag a row to move it</source>
        <translation>Eingabe zeigt die Rechte des ausgewählten Eintrags, Entf entfernt ihn, Tab erreicht seine Bedienelemente; eine Zeile ziehen, um sie zu verschieben</translation>
    </message>
    <message>
        <source>Removes the selected entry</source>
        <translation>Entfernt den ausgewählten Eintrag</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Schließen</translation>
    </message>
    <message>
        <source>Closes the permission editor, keeping what was changed</source>
        <translation>Schließt den Rechte-Editor und behält die Änderungen</translation>
    </message>
    <message>
        <source>Permissions for:</source>
        <translation>Rechte für:</translation>
    </message>
    <message>
        <source>Space ticks or clears the selected permission</source>
        <translation>Die Leertaste setzt oder löscht das ausgewählte Recht</translation>
    </message>
    <message>
        <source>The user or group whose permissions these are; type to find a user or group</source>
        <translation>Der Benutzer oder die Gruppe, deren Rechte dies sind; tippen, um einen Benutzer oder eine Gruppe zu finden</translation>
    </message>
    <message>
        <source>This entry is kept in a POSIX ACL, which holds read, write and execute only.</source>
        <translation>Dieser Eintrag wird in einer POSIX-ACL gespeichert, die nur Lesen, Schreiben und Ausführen kennt.</translation>
    </message>
    <message>
        <source>Who the entry is for</source>
        <translation>Für wen der Eintrag gilt</translation>
    </message>
    <message>
        <source>limited to %1</source>
        <translation>begrenzt auf %1</translation>
    </message>
    <message>
        <source>limited to %1 in this folder</source>
        <translation>in diesem Ordner begrenzt auf %1</translation>
    </message>
    <message>
        <source>limited to %1 for new items</source>
        <translation>für neue Objekte begrenzt auf %1</translation>
    </message>
    <message>
        <source>limited to %1, for new items to %2</source>
        <translation>begrenzt auf %1, für neue Objekte auf %2</translation>
    </message>
    <message>
        <source>Allow or deny</source>
        <translation>Zulassen oder verweigern</translation>
    </message>
    <message>
        <source>Permission letters</source>
        <translation>Rechte als Buchstaben</translation>
    </message>
    <message>
        <source>Read, write and execute as the item keeps them, and any limit</source>
        <translation>Lesen, Schreiben und Ausführen, wie das Objekt sie speichert, und jede Begrenzung</translation>
    </message>
    <message>
        <source>Remove</source>
        <translation>Entfernen</translation>
    </message>
    <message>
        <source>Show Permissions…</source>
        <translation>Rechte anzeigen…</translation>
    </message>
    <message>
        <source>The entry&apos;s permission group; Custom… opens the permission editor</source>
        <translation>Die Rechtegruppe des Eintrags; „Benutzerdefiniert…“ öffnet den Rechte-Editor</translation>
    </message>
    <message>
        <source>The user or group of the entry; type to find one</source>
        <translation>Benutzer oder Gruppe des Eintrags; tippen, um zu suchen</translation>
    </message>
    <message>
        <source>Whether the entry allows or denies its permissions</source>
        <translation>Ob der Eintrag seine Rechte zulässt oder verweigert</translation>
    </message>
    <message>
        <source>POSIX ACLs, which keep this item&apos;s permissions, have no deny entries.</source>
        <translation>POSIX-ACLs, in denen die Rechte dieses Objekts gespeichert sind, kennen keine Verweigern-Einträge.</translation>
    </message>
    <message>
        <source>Ticked when the entry holds this permission, half-ticked when it holds part of it</source>
        <translation>Angekreuzt, wenn der Eintrag dieses Recht hat, halb angekreuzt, wenn er einen Teil davon hat</translation>
    </message>
    <message>
        <source>Find a user or group</source>
        <translation>Benutzer oder Gruppe finden</translation>
    </message>
    <message>
        <source>%1 items, %2 a second</source>
        <translation>%1 Objekte, %2 pro Sekunde</translation>
    </message>
    <message>
        <source>Dry run: %1</source>
        <translation>Probelauf: %1</translation>
    </message>
    <message>
        <source>Propagated: %1</source>
        <translation>Übertragen: %1</translation>
    </message>
    <message>
        <source>Stopped: %1</source>
        <translation>Angehalten: %1</translation>
    </message>
    <message>
        <source>Propagation failed: %1</source>
        <translation>Übertragung fehlgeschlagen: %1</translation>
    </message>
    <message>
        <source>Stopping at the next folder… (Ctrl+C again leaves at once)</source>
        <translation>Halte beim nächsten Ordner an… (Strg+C noch einmal beendet sofort)</translation>
    </message>
    <message>
        <source>%1 changed</source>
        <translation>%1 geändert</translation>
    </message>
    <message>
        <source>%1 would change</source>
        <translation>%1 würden geändert</translation>
    </message>
    <message>
        <source>%1 already right</source>
        <translation>%1 schon richtig</translation>
    </message>
    <message>
        <source>%1 changed during the walk</source>
        <translation>%1 während des Durchlaufs verändert</translation>
    </message>
    <message>
        <source>%1 protected from inheritance</source>
        <translation>%1 vor Vererbung geschützt</translation>
    </message>
    <message>
        <source>%1 failed</source>
        <translation>%1 fehlgeschlagen</translation>
    </message>
    <message>
        <source>%1 file with several hard links</source>
        <translation>%1 Datei mit mehreren harten Verknüpfungen</translation>
    </message>
    <message>
        <source>%1 files with several hard links</source>
        <translation>%1 Dateien mit mehreren harten Verknüpfungen</translation>
    </message>
    <message>
        <source>%1 link</source>
        <translation>%1 Verknüpfung</translation>
    </message>
    <message>
        <source>%1 links</source>
        <translation>%1 Verknüpfungen</translation>
    </message>
    <message>
        <source>%1 on another file system or mount point</source>
        <translation>%1 auf einem anderen Dateisystem oder Einhängepunkt</translation>
    </message>
    <message>
        <source>%1 on other file systems or mount points</source>
        <translation>%1 auf anderen Dateisystemen oder Einhängepunkten</translation>
    </message>
    <message>
        <source>%1 skipped (%2)</source>
        <translation>%1 übersprungen (%2)</translation>
    </message>
    <message>
        <source>%1 special file</source>
        <translation>%1 Spezialdatei</translation>
    </message>
    <message>
        <source>%1 special files</source>
        <translation>%1 Spezialdateien</translation>
    </message>
    <message>
        <source>Dismiss</source>
        <translation>Ausblenden</translation>
    </message>
    <message>
        <source>Hides this result</source>
        <translation>Blendet dieses Ergebnis aus</translation>
    </message>
    <message>
        <source>Propagating…</source>
        <translation>Übertrage…</translation>
    </message>
    <message>
        <source>Propagating… %1 items, %2 a second</source>
        <translation>Übertrage… %1 Objekte, %2 pro Sekunde</translation>
    </message>
    <message>
        <source>Propagation running</source>
        <translation>Übertragung läuft</translation>
    </message>
    <message>
        <source>Shows that the propagation is still running</source>
        <translation>Zeigt, dass die Übertragung noch läuft</translation>
    </message>
    <message>
        <source>Stop</source>
        <translation>Anhalten</translation>
    </message>
    <message>
        <source>Stopping at the next folder…</source>
        <translation>Halte beim nächsten Ordner an…</translation>
    </message>
    <message>
        <source>Stops the propagation at the next folder; what was done stays done</source>
        <translation>Hält die Übertragung beim nächsten Ordner an; was getan ist, bleibt</translation>
    </message>
    <message>
        <source>%1 and %2</source>
        <translation>%1 und %2</translation>
    </message>
    <message>
        <source>Applies to</source>
        <translation>Gilt für</translation>
    </message>
    <message>
        <source>Applies to:</source>
        <translation>Gilt für:</translation>
    </message>
    <message>
        <source>New items</source>
        <translation>Neue Objekte</translation>
    </message>
    <message>
        <source>This folder</source>
        <translation>Dieser Ordner</translation>
    </message>
    <message>
        <source>This folder and new items</source>
        <translation>Dieser Ordner und neue Objekte</translation>
    </message>
    <message>
        <source>POSIX ACLs have no deny entries</source>
        <translation>POSIX-ACLs kennen keine Verweigern-Einträge</translation>
    </message>
    <message>
        <source>Reading…</source>
        <translation>Wird gelesen…</translation>
    </message>
    <message>
        <source>execute</source>
        <translation>Ausführen</translation>
    </message>
    <message>
        <source>read</source>
        <translation>Lesen</translation>
    </message>
    <message>
        <source>write</source>
        <translation>Schreiben</translation>
    </message>
    <message>
        <source>now also grants %1</source>
        <translation>gewährt nun auch %1</translation>
    </message>
    <message>
        <source>Keep the mask as it is</source>
        <translation>Maske unverändert lassen</translation>
    </message>
    <message>
        <source>Another entry for this user or group already applies there</source>
        <translation>Für diesen Benutzer oder diese Gruppe gilt dort bereits ein anderer Eintrag</translation>
    </message>
    <message>
        <source>Reload</source>
        <translation>Neu laden</translation>
    </message>
    <message>
        <source>Keep my edits</source>
        <translation>Meine Änderungen behalten</translation>
    </message>
    <message>
        <source>Reads the item again; the edits are dropped</source>
        <translation>Liest das Objekt neu ein; die Änderungen werden verworfen</translation>
    </message>
    <message>
        <source>Keeps the edits; saving writes them over what is on disk</source>
        <translation>Behält die Änderungen; Sichern schreibt sie über den Stand auf dem Datenträger</translation>
    </message>
    <message>
        <source>“%1” was changed on disk since it was read.</source>
        <translation>„%1“ wurde seit dem Einlesen auf dem Datenträger geändert.</translation>
    </message>
    <message>
        <source>“%1” was deleted or moved away: there is nothing here to save to.</source>
        <translation>„%1“ wurde gelöscht oder verschoben: Hier kann nichts gesichert werden.</translation>
    </message>
    <message>
        <source>You do not own “%1”: saving asks for an administrator’s authorisation.</source>
        <translation>„%1“ gehört Ihnen nicht: Beim Sichern wird eine Administratorberechtigung angefragt.</translation>
    </message>
    <message>
        <source>Show as edited</source>
        <translation>Wie bearbeitet zeigen</translation>
    </message>
    <message>
        <source>Shows the access the unsaved list would give</source>
        <translation>Zeigt den Zugriff, den die ungesicherte Liste gäbe</translation>
    </message>
    <message>
        <source>Shows the access the edited list would give once saved; nothing is saved yet.</source>
        <translation>Zeigt den Zugriff, den die bearbeitete Liste nach dem Sichern gäbe; noch ist nichts gesichert.</translation>
    </message>
    <message>
        <source>Shows the item as saved, without the unsaved edits.</source>
        <translation>Zeigt das Objekt wie gesichert, ohne die ungesicherten Änderungen.</translation>
    </message>
    <message>
        <source>Shows the item as saved.</source>
        <translation>Zeigt das Objekt wie gesichert.</translation>
    </message>
    <message>
        <source>the administrator’s own rule</source>
        <translation>die eigene Regel des Administrators</translation>
    </message>
    <message>
        <source>the owner’s entry</source>
        <translation>der Eintrag des Eigentümers</translation>
    </message>
    <message>
        <source>the entry for the user %1</source>
        <translation>der Eintrag für den Benutzer %1</translation>
    </message>
    <message>
        <source>the owning group’s entry (%1)</source>
        <translation>der Eintrag der besitzenden Gruppe (%1)</translation>
    </message>
    <message>
        <source>the entry for the group %1</source>
        <translation>der Eintrag für die Gruppe %1</translation>
    </message>
    <message>
        <source>the entry for everyone else</source>
        <translation>der Eintrag für alle anderen</translation>
    </message>
    <message>
        <source>%1, limited by the mask</source>
        <translation>%1, begrenzt durch die Maske</translation>
    </message>
    <message>
        <source>“%1” is now another item than the one read: nothing is saved to it unless it is read.</source>
        <translation>„%1“ ist jetzt ein anderes Objekt als das gelesene: Es wird nichts darin gesichert, solange es nicht gelesen wurde.</translation>
    </message>
    <message>
        <source>The edits were not saved, and the list was read again.</source>
        <translation>Die Änderungen wurden nicht gesichert, und die Liste wurde neu gelesen.</translation>
    </message>
    <message>
        <source>%n entries are marked inherited. POSIX ACLs keep no such mark: once saved, they are entries of the item&apos;s own.</source>
        <translation>%n Einträge sind als geerbt markiert. POSIX-ACLs speichern diese Markierung nicht: Nach dem Sichern sind es eigene Einträge des Objekts.</translation>
    </message>
    <message>
        <source>Read again</source>
        <translation>Neu lesen</translation>
    </message>
    <message>
        <source>Restore my edits</source>
        <translation>Meine Änderungen zurückholen</translation>
    </message>
    <message>
        <source>Puts the edits that were not saved back in the list, over what was read</source>
        <translation>Setzt die nicht gesicherten Änderungen wieder in die Liste, über das Gelesene</translation>
    </message>
    <message>
        <source>%1 “%2”: the file system it is on is mounted read-only, so nobody can change it, an administrator neither. To change it, mount that file system read-write again (mount -o remount,rw %3).</source>
        <translation>%1 „%2“: Das Dateisystem, auf dem es liegt, ist schreibgeschützt eingehängt, daher kann es niemand ändern, auch kein Administrator. Um es zu ändern, hängen Sie dieses Dateisystem wieder schreibbar ein (mount -o remount,rw %3).</translation>
    </message>
    <message>
        <source>%1 “%2”: it is marked %3, and while it is, nobody can change its owner, permissions or ACL, an administrator neither. An administrator can lift the mark with “chattr -%4 %2”.</source>
        <translation>%1 „%2“: Es ist als %3 markiert, und solange es das ist, kann niemand Eigentümer, Berechtigungen oder ACL ändern, auch kein Administrator. Ein Administrator kann die Markierung mit „chattr -%4 %2“ aufheben.</translation>
    </message>
    <message>
        <source>immutable</source>
        <translation>unveränderlich</translation>
    </message>
    <message>
        <source>append-only</source>
        <translation>nur anhängbar</translation>
    </message>
    <message>
        <source>%1 “%2”: it is %3, and only folders and regular files are changed</source>
        <translation>%1 „%2“: Es ist %3, und nur Ordner und reguläre Dateien werden geändert</translation>
    </message>
    <message>
        <source>Cannot change the permissions of</source>
        <translation>Die Berechtigungen können nicht geändert werden von</translation>
    </message>
    <message>
        <source>a folder</source>
        <translation>ein Ordner</translation>
    </message>
    <message>
        <source>a regular file</source>
        <translation>eine reguläre Datei</translation>
    </message>
    <message>
        <source>a symbolic link</source>
        <translation>ein symbolischer Link</translation>
    </message>
    <message>
        <source>a FIFO</source>
        <translation>eine FIFO</translation>
    </message>
    <message>
        <source>a socket</source>
        <translation>ein Socket</translation>
    </message>
    <message>
        <source>a character device</source>
        <translation>ein zeichenorientiertes Gerät</translation>
    </message>
    <message>
        <source>a block device</source>
        <translation>ein blockorientiertes Gerät</translation>
    </message>
    <message>
        <source>of an unknown kind</source>
        <translation>unbekannter Art</translation>
    </message>
    <message>
        <source>granted</source>
        <translation>gewährt</translation>
    </message>
    <message>
        <source>denied</source>
        <translation>verweigert</translation>
    </message>
    <message>
        <source>partly</source>
        <translation>teilweise</translation>
    </message>
    <message>
        <source>Permission</source>
        <translation>Berechtigung</translation>
    </message>
    <message>
        <source>Access</source>
        <translation>Zugriff</translation>
    </message>
    <message>
        <source>Decided by</source>
        <translation>Entschieden durch</translation>
    </message>
    <message>
        <source>Users and groups</source>
        <translation>Benutzer und Gruppen</translation>
    </message>
    <message>
        <source>for %1</source>
        <translation>für %1</translation>
    </message>
    <message>
        <source>“%1” is not offered: it already has an entry that applies here.</source>
        <translation>„%1“ wird nicht angeboten: Es hat schon einen Eintrag, der hier gilt.</translation>
    </message>
    <message>
        <source>%1 users or groups that match are not offered: they already have an entry that applies here.</source>
        <translation>%1 passende Benutzer oder Gruppen werden nicht angeboten: Sie haben schon einen Eintrag, der hier gilt.</translation>
    </message>
    <message>
        <source>Owner and Group</source>
        <translation>Besitzer und Gruppe</translation>
    </message>
    <message>
        <source>inheritance is turned off: nothing comes from the folder above</source>
        <translation>Vererbung ist ausgeschaltet: nichts kommt vom Ordner darüber</translation>
    </message>
    <message>
        <source>%1 entry of a kind not shown here (object or conditional) is kept</source>
        <translation>%1 Eintrag einer hier nicht gezeigten Art (Objekt oder Bedingung) bleibt erhalten</translation>
    </message>
    <message>
        <source>%1 entries of kinds not shown here (object or conditional) are kept</source>
        <translation>%1 Einträge hier nicht gezeigter Arten (Objekt oder Bedingung) bleiben erhalten</translation>
    </message>
    <message>
        <source>Entries of kinds not shown here (object or conditional), which the server may count, are not counted.</source>
        <translation>Einträge hier nicht gezeigter Arten (Objekt oder Bedingung), die der Server zählen kann, sind nicht mitgezählt.</translation>
    </message>
    <message>
        <source>Log in to “%1”</source>
        <translation>Bei „%1“ anmelden</translation>
    </message>
    <message>
        <source>%1 Give the name and password of an account that may do this.</source>
        <translation>%1 Geben Sie Name und Passwort eines Kontos an, das dies darf.</translation>
    </message>
    <message>
        <source>Name:</source>
        <translation>Name:</translation>
    </message>
    <message>
        <source>Password:</source>
        <translation>Passwort:</translation>
    </message>
    <message>
        <source>Log In</source>
        <translation>Anmelden</translation>
    </message>
    <message>
        <source>DOMAIN\name</source>
        <translation>DOMÄNE\Name</translation>
    </message>
    <message>
        <source>This folder only</source>
        <translation>Nur dieser Ordner</translation>
    </message>
    <message>
        <source>This folder, subfolders and files</source>
        <translation>Dieser Ordner, Unterordner und Dateien</translation>
    </message>
    <message>
        <source>Subfolders and files only</source>
        <translation>Nur Unterordner und Dateien</translation>
    </message>
    <message>
        <source>This folder and subfolders</source>
        <translation>Dieser Ordner und Unterordner</translation>
    </message>
    <message>
        <source>Subfolders only</source>
        <translation>Nur Unterordner</translation>
    </message>
    <message>
        <source>This folder and files</source>
        <translation>Dieser Ordner und Dateien</translation>
    </message>
    <message>
        <source>Files only</source>
        <translation>Nur Dateien</translation>
    </message>
    <message>
        <source>%1, one level</source>
        <translation>%1, eine Ebene</translation>
    </message>
    <message>
        <source>the owner’s own right</source>
        <translation>das eigene Recht des Besitzers</translation>
    </message>
    <message>
        <source>no entry grants it</source>
        <translation>kein Eintrag gewährt es</translation>
    </message>
    <message>
        <source>the server, for whoever reaches the item</source>
        <translation>der Server, für jeden, der das Objekt erreicht</translation>
    </message>
    <message>
        <source>the entry %1 (Deny, entry %2)</source>
        <translation>der Eintrag %1 (Verweigern, Eintrag %2)</translation>
    </message>
    <message>
        <source>the entry %1 (Allow, entry %2)</source>
        <translation>der Eintrag %1 (Zulassen, Eintrag %2)</translation>
    </message>
    <message>
        <source>%1 of the folder above</source>
        <translation>%1 des Ordners darüber</translation>
    </message>
    <message>
        <source>the share’s permissions do not grant it</source>
        <translation>die Berechtigungen der Freigabe gewähren es nicht</translation>
    </message>
    <message>
        <source>the share’s %1</source>
        <translation>bei der Freigabe: %1</translation>
    </message>
    <message>
        <source>%1 of the share</source>
        <translation>%1 der Freigabe</translation>
    </message>
    <message>
        <source>the share’s permissions do not grant writing (read-only to the account)</source>
        <translation>die Berechtigungen der Freigabe gewähren kein Schreiben (für das Konto schreibgeschützt)</translation>
    </message>
    <message>
        <source>the share’s permissions grant neither reading nor writing</source>
        <translation>die Berechtigungen der Freigabe gewähren weder Lesen noch Schreiben</translation>
    </message>
    <message>
        <source>%1 of the share (read-only to the account)</source>
        <translation>%1 der Freigabe (für das Konto schreibgeschützt)</translation>
    </message>
    <message>
        <source>%1 of the share (which keeps the account out)</source>
        <translation>%1 der Freigabe (die das Konto aussperrt)</translation>
    </message>
    <message>
        <source>The share’s own permissions, which the server does not show to this login, are not counted: they may refuse what is granted here.</source>
        <translation>Die eigenen Berechtigungen der Freigabe, die der Server dieser Anmeldung nicht zeigt, sind nicht berücksichtigt: Sie können verweigern, was hier gewährt ist.</translation>
    </message>
    <message>
        <source>the privilege to take ownership</source>
        <translation>das Recht, den Besitz zu übernehmen</translation>
    </message>
    <message>
        <source>The server’s privileges, which it does not tell this login, are not counted: they may grant taking ownership.</source>
        <translation>Die Rechte, die der Server vergibt und dieser Anmeldung nicht nennt, sind nicht berücksichtigt: Sie können das Übernehmen des Besitzes gewähren.</translation>
    </message>
    <message>
        <source>entry %1, if the account is in %2, which the server does not tell</source>
        <translation>Eintrag %1, falls das Konto zu %2 gehört, was der Server nicht sagt</translation>
    </message>
</context>
<context>
    <name>Localizable</name>
    <message>
        <source>Yes</source>
        <translation>Ja</translation>
    </message>
    <message>
        <source>No</source>
        <translation>Nein</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>You cannot undo this.</source>
        <translation>Dies kann nicht rückgängig gemacht werden.</translation>
    </message>
    <message>
        <source>&amp;File</source>
        <translation>&amp;Datei</translation>
    </message>
    <message>
        <source>&amp;Edit</source>
        <translation>&amp;Bearbeiten</translation>
    </message>
    <message>
        <source>&amp;View</source>
        <translation>&amp;Ansicht</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Schließen</translation>
    </message>
    <message>
        <source>Save</source>
        <translation>Speichern</translation>
    </message>
    <message>
        <source>Revert</source>
        <translation>Zurücksetzen</translation>
    </message>
</context>
<context>
    <name>Help</name>
    <message>
        <source>usage:</source>
        <translation>Aufruf:</translation>
    </message>
    <message>
        <source>Arguments</source>
        <translation>Argumente</translation>
    </message>
    <message>
        <source>Commands</source>
        <translation>Befehle</translation>
    </message>
    <message>
        <source>Exit status</source>
        <translation>Rückgabewert</translation>
    </message>
    <message>
        <source>Options</source>
        <translation>Optionen</translation>
    </message>
    <message>
        <source>Description</source>
        <translation>Beschreibung</translation>
    </message>
    <message>
        <source>marrowgate-acl shows and changes the access control lists (ACLs) of files and folders: who may read, write and run them besides their owner, and what a folder passes on to new items. It opens the ACL window for an item, or reads and changes ACLs as text for scripts.</source>
        <translation>marrowgate-acl zeigt und ändert die Zugriffssteuerungslisten (ACLs) von Dateien und Ordnern: wer sie außer ihrem Besitzer lesen, schreiben und ausführen darf und was ein Ordner an neue Objekte weitergibt. Es öffnet das ACL-Fenster für ein Objekt oder liest und ändert ACLs als Text für Skripte.</translation>
    </message>
    <message>
        <source>A PATH that leads through a link is about the item at the link&apos;s end; the command says so. Changes are made as you, and with an administrator&apos;s authorisation where you may not. Words that scripts read (kinds, yes and no, allow and deny, permissions) are the same in every language; headings and messages follow the desktop&apos;s language.</source>
        <translation>Ein PATH, der über eine Verknüpfung führt, meint das Objekt an ihrem Ende; der Befehl sagt das. Änderungen geschehen als Sie selbst und, wo Sie sie nicht vornehmen dürfen, mit der Autorisierung eines Administrators. Wörter, die Skripte lesen (Arten, yes und no, allow und deny, Berechtigungen), sind in jeder Sprache gleich; Überschriften und Meldungen folgen der Sprache des Desktops.</translation>
    </message>
    <message>
        <source>a name (a user before a group of that name), user:NAME, group:NAME, uid:NUMBER or gid:NUMBER</source>
        <translation>ein Name (ein Benutzer vor einer gleichnamigen Gruppe), user:NAME, group:NAME, uid:NUMMER oder gid:NUMMER</translation>
    </message>
    <message>
        <source>a picture of the window (no display needed); --permissions opens the permission editor of a row, --find a row&apos;s chooser with TEXT typed into it, --add a new entry, left unsaved; --size the window&apos;s width and height in pixels (as 900x560); --elsewhere then sets ENTRY from another process, as someone else would; --who chooses the access tab&apos;s user or group, --as-edited shows it as edited</source>
        <translation>ein Bild des Fensters (ohne Bildschirm); --permissions öffnet den Berechtigungseditor einer Zeile, --find die Auswahl einer Zeile mit eingetipptem TEXT, --add einen neuen, nicht gesicherten Eintrag; --size Breite und Höhe des Fensters in Pixeln (etwa 900x560); --elsewhere setzt danach ENTRY aus einem anderen Prozess, wie es jemand anderes täte; --who wählt den Benutzer oder die Gruppe des Zugriffs-Reiters, --as-edited zeigt ihn wie bearbeitet</translation>
    </message>
    <message>
        <source>a propagation stopped with Ctrl+C</source>
        <translation>eine Weitergabe wurde mit Strg+C angehalten</translation>
    </message>
    <message>
        <source>adds entries or changes their permissions, as setfacl -m does: [d:]u:NAME:rwx, [d:]g:NAME:r-x, u::rw, g::r, o:r, m:rx, ids as numbers, permissions as letters or one octal digit, X for execute on folders and executables (several per argument, separated by commas); the mask of each ACL changed limits none of its entries unless m:: is given</source>
        <translation>fügt Einträge hinzu oder ändert ihre Berechtigungen wie setfacl -m: [d:]u:NAME:rwx, [d:]g:NAME:r-x, u::rw, g::r, o:r, m:rx, Kennungen als Zahlen, Berechtigungen als Buchstaben oder eine Oktalziffer, X für Ausführen bei Ordnern und ausführbaren Dateien (mehrere je Argument, durch Kommas getrennt); die Maske jeder geänderten ACL begrenzt keinen ihrer Einträge, sofern nicht m:: angegeben ist</translation>
    </message>
    <message>
        <source>an administrator&apos;s authorisation was asked for and dismissed</source>
        <translation>die Autorisierung eines Administrators wurde erbeten und abgelehnt</translation>
    </message>
    <message>
        <source>audit counts the items by what the user or group may do instead of listing them</source>
        <translation>audit zählt die Objekte danach, was der Benutzer oder die Gruppe darf, statt sie aufzulisten</translation>
    </message>
    <message>
        <source>changes nothing: inherit prints the result as getfacl would, propagate counts what would change</source>
        <translation>ändert nichts: inherit gibt das Ergebnis aus wie getfacl, propagate zählt, was sich ändern würde</translation>
    </message>
    <message>
        <source>done</source>
        <translation>erledigt</translation>
    </message>
    <message>
        <source>failed; the error is on standard error</source>
        <translation>fehlgeschlagen; der Fehler steht in der Standardfehlerausgabe</translation>
    </message>
    <message>
        <source>gives PATH exactly what its folder gives a new file or folder now: the folder&apos;s default ACL limited by the creating mode (0666 for a file, 0777 for a folder), or without one, that mode less the umask</source>
        <translation>gibt PATH genau das, was sein Ordner jetzt einer neuen Datei oder einem neuen Ordner gibt: die Standard-ACL des Ordners, begrenzt durch den Erstellungsmodus (0666 für eine Datei, 0777 für einen Ordner), oder ohne sie diesen Modus abzüglich der umask</translation>
    </message>
    <message>
        <source>gives TO the ACL of FROM; owner and group stay TO&apos;s</source>
        <translation>gibt TO die ACL von FROM; Besitzer und Gruppe von TO bleiben</translation>
    </message>
    <message>
        <source>gives everything below a folder its owner, group, permissions and inheritable entries, showing progress; Ctrl+C stops at the next folder</source>
        <translation>gibt allem unterhalb eines Ordners dessen Besitzer, Gruppe, Berechtigungen und vererbbare Einträge und zeigt den Fortschritt; Strg+C hält beim nächsten Ordner an</translation>
    </message>
    <message>
        <source>one JSON object instead of text (for audit, one per line), UTF-8; a name or path that is not UTF-8 has its bytes in base64 in a field of the same name ending in Base64</source>
        <translation>ein JSON-Objekt statt Text (bei audit eines je Zeile), UTF-8; zu einem Namen oder Pfad, der kein UTF-8 ist, stehen seine Bytes in Base64 in einem gleichnamigen Feld mit der Endung Base64</translation>
    </message>
    <message>
        <source>opens the ACL window for one file or folder (needs a display)</source>
        <translation>öffnet das ACL-Fenster für eine Datei oder einen Ordner (braucht einen Bildschirm)</translation>
    </message>
    <message>
        <source>removes entries as setfacl -x does: [d:]u:NAME, [d:]g:NAME, [d:]m, or a user or group alone (its entries for the item and for new items)</source>
        <translation>entfernt Einträge wie setfacl -x: [d:]u:NAME, [d:]g:NAME, [d:]m, oder einen Benutzer oder eine Gruppe allein (ihre Einträge für das Objekt und für neue Objekte)</translation>
    </message>
    <message>
        <source>sets what a backup (ours or getfacl&apos;s) says, owners, groups and set-id and sticky bits included, paths relative to the current folder, as setfacl --restore does; - reads standard input. A malformed file is refused with its line and changes nothing. A path with a .. component is never restored, nor an absolute one without --absolute: each is named, the rest restored</source>
        <translation>setzt, was eine Sicherung (unsere oder die von getfacl) sagt, Eigentümer, Gruppen sowie Set-ID- und Sticky-Bits eingeschlossen, Pfade relativ zum aktuellen Ordner, wie setfacl --restore; - liest die Standardeingabe. Eine fehlerhafte Datei wird mit ihrer Zeile abgelehnt und ändert nichts. Ein Pfad mit einem ..-Bestandteil wird nie wiederhergestellt, ein absoluter nicht ohne --absolute: jeder wird genannt, der Rest wiederhergestellt</translation>
    </message>
    <message>
        <source>restore also sets items named by absolute paths</source>
        <translation>restore setzt auch Objekte, die mit absoluten Pfaden genannt sind</translation>
    </message>
    <message>
        <source>Not restored: “%1” leads out of the folder the restore runs in (through “..”).</source>
        <translation>Nicht wiederhergestellt: „%1“ führt aus dem Ordner hinaus, in dem die Wiederherstellung läuft (über „..“).</translation>
    </message>
    <message>
        <source>Not restored: “%1” is an absolute path; give --absolute to restore such paths.</source>
        <translation>Nicht wiederhergestellt: „%1“ ist ein absoluter Pfad; geben Sie --absolute an, um solche Pfade wiederherzustellen.</translation>
    </message>
    <message>
        <source>the ACLs of PATH and everything below it, byte for byte as getfacl -R writes them and in its order: paths as given, an absolute one without its leading slash; a link given as PATH is read, not walked</source>
        <translation>die ACLs von PATH und allem darunter, Byte für Byte wie getfacl -R sie schreibt und in seiner Reihenfolge: Pfade wie angegeben, ein absoluter ohne seinen führenden Schrägstrich; ein als PATH angegebener Link wird gelesen, nicht durchlaufen</translation>
    </message>
    <message>
        <source>the command was used wrongly; what is wrong, and this usage, are on standard error</source>
        <translation>der Befehl wurde falsch benutzt; was falsch ist, und diese Aufrufhilfe stehen in der Standardfehlerausgabe</translation>
    </message>
    <message>
        <source>the item&apos;s entries, one per line: ROW, KIND (user:NAME, group:NAME, owner, owning-group, other, mask), ID, what it applies to (file, folder, new-items, folder+new-items), allow or deny, the permissions as rwx, what the mask leaves of them, inherited or not, and the permission group; lines starting with # are headings</source>
        <translation>die Einträge des Objekts, einer je Zeile: ROW, KIND (user:NAME, group:NAME, owner, owning-group, other, mask), ID, wofür er gilt (file, folder, new-items, folder+new-items), allow oder deny, die Berechtigungen als rwx, was die Maske davon lässt, geerbt oder nicht, und die Berechtigungsgruppe; Zeilen, die mit # beginnen, sind Überschriften</translation>
    </message>
    <message>
        <source>this text</source>
        <translation>dieser Text</translation>
    </message>
    <message>
        <source>what a user or group may do with the item: one line per permission with its section, its name, yes, no or partly, and the entry that decides it; lines starting with # come first and say what the answer leaves out</source>
        <translation>was ein Benutzer oder eine Gruppe mit dem Objekt tun darf: eine Zeile je Berechtigung mit ihrem Abschnitt, ihrem Namen, yes, no oder partly und dem Eintrag, der darüber entscheidet; Zeilen, die mit # beginnen, kommen zuerst und sagen, was die Antwort auslässt</translation>
    </message>
    <message>
        <source>what audit looks for: write (the default), read, or any of read, write and search</source>
        <translation>wonach audit sucht: Schreiben (die Vorgabe), Lesen oder irgendeines von Lesen, Schreiben und Durchsuchen</translation>
    </message>
    <message>
        <source>where below PATH the user or group may write, one line per item: rwx as granted, the entry that grants it, the path; folders they cannot enter are not looked into</source>
        <translation>wo unterhalb von PATH der Benutzer oder die Gruppe schreiben darf, eine Zeile je Objekt: rwx wie gewährt, der gewährende Eintrag, der Pfad; Ordner, die sie nicht betreten können, werden nicht durchsucht</translation>
    </message>
    <message>
        <source>Unknown command “%1”.</source>
        <translation>Unbekannter Befehl „%1“.</translation>
    </message>
    <message>
        <source>%1 has no option “%2”.</source>
        <translation>%1 hat keine Option „%2“.</translation>
    </message>
    <message>
        <source>Give at most one of %1.</source>
        <translation>Geben Sie höchstens eines von %1 an.</translation>
    </message>
    <message>
        <source>%1 needs %2.</source>
        <translation>%1 braucht %2.</translation>
    </message>
    <message>
        <source>%1 takes %2: “%3” is one too many.</source>
        <translation>%1 nimmt %2: „%3“ ist eines zu viel.</translation>
    </message>
    <message>
        <source>“%1” leads through a link to “%2”; this is about %2.</source>
        <translation>„%1“ führt über eine Verknüpfung zu „%2“; es geht um %2.</translation>
    </message>
    <message>
        <source>No user or group is named “%1”.</source>
        <translation>Kein Benutzer und keine Gruppe heißt „%1“.</translation>
    </message>
    <message>
        <source># “%1” cannot enter the folder “%2” on this item&apos;s path; below is what the item itself allows.</source>
        <translation># „%1“ kann den Ordner „%2“ auf dem Weg zu diesem Objekt nicht betreten; unten steht, was das Objekt selbst erlaubt.</translation>
    </message>
    <message>
        <source>propagate needs a folder: “%1” is not one.</source>
        <translation>propagate braucht einen Ordner: „%1“ ist keiner.</translation>
    </message>
    <message>
        <source>marrowgate-acl: Removing leading &apos;/&apos; from absolute path names</source>
        <translation>marrowgate-acl: Führendes „/“ wird aus absoluten Pfadnamen entfernt</translation>
    </message>
    <message>
        <source>Cannot read “%1”: %2</source>
        <translation>„%1“ kann nicht gelesen werden: %2</translation>
    </message>
    <message>
        <source>Unknown option “%1”.</source>
        <translation>Unbekannte Option „%1“.</translation>
    </message>
    <message>
        <source>Unknown option or missing value: %1</source>
        <translation>Unbekannte Option oder fehlender Wert: %1</translation>
    </message>
    <message>
        <source>A screenshot needs a path and a picture to write.</source>
        <translation>Ein Bildschirmfoto braucht einen Pfad und ein zu schreibendes Bild.</translation>
    </message>
    <message>
        <source>Name the file or folder to show.</source>
        <translation>Nennen Sie die Datei oder den Ordner, der gezeigt werden soll.</translation>
    </message>
    <message>
        <source>The window shows one file or folder at a time.</source>
        <translation>Das Fenster zeigt jeweils eine Datei oder einen Ordner.</translation>
    </message>
    <message>
        <source>The folder “%1”, where the picture is to go, does not exist.</source>
        <translation>Der Ordner „%1“, in den das Bild soll, existiert nicht.</translation>
    </message>
    <message>
        <source>There is no display to show the window on (neither DISPLAY nor WAYLAND_DISPLAY is set). “marrowgate-acl list” shows the entries as text, and “marrowgate-acl screenshot” writes a picture of the window.</source>
        <translation>Es gibt keinen Bildschirm, auf dem das Fenster erscheinen kann (weder DISPLAY noch WAYLAND_DISPLAY ist gesetzt). „marrowgate-acl list“ zeigt die Einträge als Text, und „marrowgate-acl screenshot“ schreibt ein Bild des Fensters.</translation>
    </message>
    <message>
        <source>“%1” is a link to something that is not there.</source>
        <translation>„%1“ ist eine Verknüpfung zu etwas, das es nicht gibt.</translation>
    </message>
    <message>
        <source>“%1”: %2.</source>
        <translation>„%1“: %2.</translation>
    </message>
    <message>
        <source>%1 needs %2 after it.</source>
        <translation>%1 braucht danach %2.</translation>
    </message>
    <message>
        <source>Differences from getfacl and setfacl</source>
        <translation>Unterschiede zu getfacl und setfacl</translation>
    </message>
    <message>
        <source>restore never changes a path with a .. component, an absolute one without --absolute, anything through a link, or a FIFO, device or socket; backup does not enter other file systems. A malformed restore file changes nothing at all. An owner or group without an account here is left, said, and ends the restore with status 1. Removing the last named entries leaves no mask entry (the permission bits are setfacl&apos;s). A command used wrongly exits 64, not 2.</source>
        <translation>restore ändert nie einen Pfad mit einem ..-Bestandteil, einen absoluten ohne --absolute, nichts über einen Link und keine FIFO, kein Gerät und keinen Socket; backup betritt keine anderen Dateisysteme. Eine fehlerhafte Wiederherstellungsdatei ändert gar nichts. Ein Eigentümer oder eine Gruppe ohne Konto hier bleibt, wird genannt und beendet die Wiederherstellung mit Status 1. Das Entfernen der letzten benannten Einträge lässt keinen Maskeneintrag zurück (die Berechtigungsbits sind die von setfacl). Ein falsch benutzter Befehl endet mit 64, nicht mit 2.</translation>
    </message>
    <message>
        <source>Not restored: “%1” (line %2) has entries for new items, which only a folder can have.</source>
        <translation>Nicht wiederhergestellt: „%1“ (Zeile %2) hat Einträge für neue Objekte, die nur ein Ordner haben kann.</translation>
    </message>
    <message>
        <source>“%1”: no user here is called “%2”; the owner was not changed.</source>
        <translation>„%1“: Hier heißt kein Benutzer „%2“; der Eigentümer wurde nicht geändert.</translation>
    </message>
    <message>
        <source>“%1”: no group here is called “%2”; the group was not changed.</source>
        <translation>„%1“: Hier heißt keine Gruppe „%2“; die Gruppe wurde nicht geändert.</translation>
    </message>
    <message>
        <source>--authentication-file FILE</source>
        <translation>--authentication-file FILE</translation>
    </message>
    <message>
        <source>the account for items on SMB file servers: lines username =, password = and domain =; without it your Kerberos ticket is used, and a terminal asks when the server refuses</source>
        <translation>das Konto für Objekte auf SMB-Dateiservern: Zeilen username =, password = und domain =; ohne sie gilt Ihr Kerberos-Ticket, und ein Terminal fragt nach, wenn der Server ablehnt</translation>
    </message>
    <message>
        <source>A PATH may also be the URL of an item on an SMB file server, smb://SERVER/SHARE/PATH, for the window, list, set, remove, propagate, access and audit; set and remove then take entries as ACL:NAME:ALLOWED/OI|CI/READ (ALLOWED or DENIED; flags OI, CI, NP and IO joined by |; READ, CHANGE, FULL, letters of RWXDPO or a number), and remove also an account alone. access and audit then take USER-OR-GROUP as the server&apos;s account (NAME or DOMAIN\NAME) and answer as the server decides, the share&apos;s own permissions included where the server shows them to the login; where it does not, a first line starting with # says so. A save writes the entries in their order and keeps the item&apos;s protection from inheritance and entries of kinds not shown (list says both in a # line); propagate leaves an item protected from inheritance, and what is below it, as they are.</source>
        <translation>Ein PATH kann auch die URL eines Objekts auf einem SMB-Dateiserver sein, smb://SERVER/SHARE/PATH, für das Fenster, list, set, remove, propagate, access und audit; set und remove nehmen dann Einträge als ACL:NAME:ALLOWED/OI|CI/READ (ALLOWED oder DENIED; die Flags OI, CI, NP und IO mit | verbunden; READ, CHANGE, FULL, Buchstaben aus RWXDPO oder eine Zahl), remove auch ein Konto allein. access und audit nehmen USER-OR-GROUP dann als Konto des Servers (NAME oder DOMAIN\NAME) und antworten, wie der Server entscheidet, die eigenen Berechtigungen der Freigabe eingeschlossen, wo der Server sie der Anmeldung zeigt; wo nicht, sagt es eine erste Zeile, die mit # beginnt. Ein Sichern schreibt die Einträge in ihrer Reihenfolge und behält den Schutz des Objekts vor Vererbung und Einträge hier nicht gezeigter Arten (list sagt beides in einer Zeile mit #); propagate lässt ein vor Vererbung geschütztes Objekt und was darunter liegt, wie es ist.</translation>
    </message>
    <message>
        <source>--authentication-file needs a FILE.</source>
        <translation>--authentication-file braucht eine Datei (FILE).</translation>
    </message>
    <message>
        <source>The URL holds a password; give the account with --authentication-file instead.</source>
        <translation>Die URL enthält ein Passwort; geben Sie das Konto stattdessen mit --authentication-file an.</translation>
    </message>
    <message>
        <source>“%1” is not the URL of an item on a file server (smb://SERVER/SHARE/PATH).</source>
        <translation>„%1“ ist nicht die URL eines Objekts auf einem Dateiserver (smb://SERVER/SHARE/PATH).</translation>
    </message>
    <message>
        <source>%1 does not take items on file servers: %2.</source>
        <translation>%1 nimmt keine Objekte auf Dateiservern: %2.</translation>
    </message>
    <message>
        <source>a file server applies inheritance itself; use set and propagate</source>
        <translation>ein Dateiserver wendet die Vererbung selbst an; nehmen Sie set und propagate</translation>
    </message>
    <message>
        <source>backups are in the text form of POSIX ACLs, which cannot hold a file server&apos;s entries; use list --json</source>
        <translation>Sicherungen haben die Textform von POSIX-ACLs, die die Einträge eines Dateiservers nicht fassen kann; nehmen Sie list --json</translation>
    </message>
    <message>
        <source>this is not available for items on file servers yet</source>
        <translation>das gibt es für Objekte auf Dateiservern noch nicht</translation>
    </message>
    <message>
        <source>Account on %1 (DOMAIN\NAME, empty to stop): </source>
        <translation>Konto auf %1 (DOMÄNE\NAME, leer zum Abbrechen): </translation>
    </message>
    <message>
        <source>Password: </source>
        <translation>Passwort: </translation>
    </message>
</context>
</TS>

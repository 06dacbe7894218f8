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
        <source>read and write</source>
        <translation>lesen und schreiben</translation>
    </message>
    <message>
        <source>read only</source>
        <translation>nur lesen</translation>
    </message>
    <message>
        <source>write only</source>
        <translation>nur schreiben</translation>
    </message>
    <message>
        <source>neither</source>
        <translation>keins von beiden</translation>
    </message>
    <message>
        <source>folders they cannot enter (not looked into)</source>
        <translation>Ordner ohne Zutritt (nicht durchsucht)</translation>
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
        <translation>ausführen</translation>
    </message>
    <message>
        <source>read</source>
        <translation>lesen</translation>
    </message>
    <message>
        <source>write</source>
        <translation>schreiben</translation>
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
</TS>

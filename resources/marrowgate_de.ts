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
</context>
</TS>

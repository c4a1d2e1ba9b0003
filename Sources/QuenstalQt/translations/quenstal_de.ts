<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de" sourcelanguage="en">
<context>
    <name>BandSlider</name>
    <message>
        <source>%1 Hz</source>
        <translation>%1 Hz</translation>
    </message>
    <message>
        <source>%1 kHz</source>
        <translation>%1 kHz</translation>
    </message>
</context>
<context>
    <name>BoostHint</name>
    <message>
        <source>Positive gain may clip - Quenstal applied -2 dB preamp.</source>
        <translation>Verstärkung kann übersteuern – Vorverstärker auf −2 dB.</translation>
    </message>
    <message>
        <source>Dismiss</source>
        <translation>Ausblenden</translation>
    </message>
</context>
<context>
    <name>Core</name>
    <message>
        <source>Muted</source>
        <translation>Stumm</translation>
    </message>
    <message>
        <source>Off</source>
        <translation>Aus</translation>
    </message>
    <message>
        <source>System volume</source>
        <translation>Systemlautstärke</translation>
    </message>
    <message>
        <source>Monitor hardware</source>
        <translation>Monitor-Hardware</translation>
    </message>
    <message>
        <source>Software volume</source>
        <translation>Software-Lautstärke</translation>
    </message>
    <message>
        <source>Unavailable</source>
        <translation>Nicht verfügbar</translation>
    </message>
    <message>
        <source>Disabled</source>
        <translation>Ausgeschaltet</translation>
    </message>
    <message>
        <source>No Output</source>
        <translation>Kein Ausgang</translation>
    </message>
    <message>
        <source>No output</source>
        <translation>Kein Ausgang</translation>
    </message>
    <message>
        <source>Flat</source>
        <translation>Linear</translation>
    </message>
    <message>
        <source>Voice</source>
        <translation>Stimme</translation>
    </message>
    <message>
        <source>Movie</source>
        <translation>Film</translation>
    </message>
    <message>
        <source>Music</source>
        <translation>Musik</translation>
    </message>
    <message>
        <source>Night</source>
        <translation>Nacht</translation>
    </message>
    <message>
        <source>Custom</source>
        <translation>Eigenes</translation>
    </message>
    <message>
        <source>LOW</source>
        <translation>TIEFEN</translation>
    </message>
    <message>
        <source>L-MID</source>
        <translation>T-MITT.</translation>
    </message>
    <message>
        <source>MID</source>
        <translation>MITTEN</translation>
    </message>
    <message>
        <source>H-MID</source>
        <translation>H-MITT.</translation>
    </message>
    <message>
        <source>HIGH</source>
        <translation>HÖHEN</translation>
    </message>
    <message>
        <source>DDC/CI hardware mode</source>
        <translation>DDC/CI-Hardwaremodus</translation>
    </message>
    <message>
        <source>system volume mode</source>
        <translation>Systemlautstärke</translation>
    </message>
    <message>
        <source>the current output does not support software processing</source>
        <translation>der Ausgang erlaubt keine Softwareverarbeitung</translation>
    </message>
    <message>
        <source>audio capture permission</source>
        <translation>fehlende Berechtigung zur Audioaufnahme</translation>
    </message>
    <message>
        <source>an unknown mode</source>
        <translation>ein unbekannter Modus</translation>
    </message>
    <message>
        <source>No output device is selected.</source>
        <translation>Kein Ausgabegerät ist gewählt.</translation>
    </message>
    <message>
        <source>Keyboard volume keys cannot be captured yet.</source>
        <translation>Die Lautstärketasten sind noch nicht nutzbar.</translation>
    </message>
    <message>
        <source>This fixed-volume output is not an HDMI or DisplayPort monitor.</source>
        <translation>Dieser Ausgang mit fester Lautstärke ist kein HDMI- oder DisplayPort-Monitor.</translation>
    </message>
    <message>
        <source>This display does not expose DDC/CI volume control.</source>
        <translation>Dieser Monitor bietet keine Lautstärke über DDC/CI.</translation>
    </message>
    <message>
        <source>Software volume fallback is not available for this output.</source>
        <translation>Software-Lautstärke ist für diesen Ausgang nicht verfügbar.</translation>
    </message>
    <message>
        <source>Software volume needs system audio capture permission.</source>
        <translation>Software-Lautstärke braucht die Berechtigung zur Audioaufnahme.</translation>
    </message>
    <message>
        <source>Software processing is active for this HDMI or DisplayPort output.</source>
        <translation>Softwareverarbeitung ist für diesen HDMI- oder DisplayPort-Ausgang aktiv.</translation>
    </message>
    <message>
        <source>Software volume fallback is active for this HDMI or DisplayPort output.</source>
        <translation>Software-Lautstärke ist für diesen HDMI- oder DisplayPort-Ausgang aktiv.</translation>
    </message>
    <message>
        <source>Volume command ignored because this output is not controllable.</source>
        <translation>Keine Wirkung: Dieser Ausgang ist nicht steuerbar.</translation>
    </message>
    <message>
        <source>Volume command failed.</source>
        <translation>Der Lautstärkebefehl ist fehlgeschlagen.</translation>
    </message>
    <message>
        <source>Monitor hardware volume failed, so Quenstal switched to software volume.</source>
        <translation>Der Monitor antwortet nicht; Quenstal nutzt nun Software-Lautstärke.</translation>
    </message>
    <message>
        <source>Software processing could not be started for EQ.</source>
        <translation>Die Softwareverarbeitung für den EQ ließ sich nicht starten.</translation>
    </message>
    <message>
        <source>Software volume could not be restored after enabling Quenstal.</source>
        <translation>Die Software-Lautstärke ließ sich nach dem Einschalten nicht wiederherstellen.</translation>
    </message>
    <message>
        <source>This display exposes DDC/CI hardware volume.</source>
        <translation>Dieser Monitor bietet Lautstärke über DDC/CI.</translation>
    </message>
    <message>
        <source>This display may not expose DDC/CI volume.</source>
        <translation>Dieser Monitor bietet wohl keine Lautstärke über DDC/CI.</translation>
    </message>
    <message>
        <source>Built-in, USB, Bluetooth, and AirPlay outputs use normal system volume.</source>
        <translation>Eingebaute, USB-, Bluetooth- und AirPlay-Ausgänge nutzen die Systemlautstärke.</translation>
    </message>
    <message>
        <source>Software volume and EQ are available for this output.</source>
        <translation>Software-Lautstärke und EQ sind für diesen Ausgang verfügbar.</translation>
    </message>
    <message>
        <source>EQ needs software mode; hardware volume can still be used without EQ.</source>
        <translation>EQ braucht den Softwaremodus; ohne EQ bleibt die Hardware-Lautstärke nutzbar.</translation>
    </message>
    <message>
        <source>Software mode is not needed for this output.</source>
        <translation>Dieser Ausgang braucht keinen Softwaremodus.</translation>
    </message>
    <message>
        <source>Software mode is used only for supported HDMI/DisplayPort outputs.</source>
        <translation>Den Softwaremodus gibt es nur für unterstützte HDMI-/DisplayPort-Ausgänge.</translation>
    </message>
    <message>
        <source>Software mode needs System Audio Capture permission.</source>
        <translation>Der Softwaremodus braucht die Berechtigung zur Audioaufnahme.</translation>
    </message>
    <message>
        <source>Permission granted, waiting for F-key test</source>
        <translation>Erlaubt, wartet auf einen Druck der F-Tasten</translation>
    </message>
    <message>
        <source>Needed for F10/F11/F12</source>
        <translation>Nötig für F10/F11/F12</translation>
    </message>
    <message>
        <source>Accessibility Settings</source>
        <translation>Bedienungshilfen öffnen</translation>
    </message>
    <message>
        <source>Not needed for this output</source>
        <translation>Für diesen Ausgang nicht nötig</translation>
    </message>
    <message>
        <source>Active</source>
        <translation>Aktiv</translation>
    </message>
    <message>
        <source>Ready when software mode starts</source>
        <translation>Bereit, sobald der Softwaremodus startet</translation>
    </message>
    <message>
        <source>Needed for software mode</source>
        <translation>Nötig für den Softwaremodus</translation>
    </message>
    <message>
        <source>Try Software Mode</source>
        <translation>Softwaremodus testen</translation>
    </message>
    <message>
        <source>Open Sound Settings</source>
        <translation>Toneinstellungen öffnen</translation>
    </message>
    <message>
        <source>No F-key events captured yet</source>
        <translation>Noch keine F-Taste empfangen</translation>
    </message>
    <message>
        <source>F10 mute</source>
        <translation>F10 Stumm</translation>
    </message>
    <message>
        <source>F11 volume down</source>
        <translation>F11 Leiser</translation>
    </message>
    <message>
        <source>F12 volume up</source>
        <translation>F12 Lauter</translation>
    </message>
    <message>
        <source>Other media key</source>
        <translation>Andere Medientaste</translation>
    </message>
    <message>
        <source>Reset equalizer?</source>
        <translation>Equalizer zurücksetzen?</translation>
    </message>
    <message>
        <source>This restores the Flat preset for the current output.</source>
        <translation>Das stellt die Vorgabe „Linear“ für den aktuellen Ausgang wieder her.</translation>
    </message>
    <message>
        <source>Reset</source>
        <translation>Zurücksetzen</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Let Quenstal use the volume keys</source>
        <translation>Quenstal die Lautstärketasten geben</translation>
    </message>
    <message>
        <source>Another program, usually the desktop itself, is using the volume keys. In the desktop&apos;s settings, remove the keyboard shortcuts for &quot;Raise volume&quot;, &quot;Lower volume&quot; and &quot;Mute&quot;. Quenstal will capture the keys as soon as they are free.</source>
        <translation>Ein anderes Programm nutzt die Tasten, meist der Desktop selbst. Entfernen Sie in dessen Einstellungen die Tastenkürzel für „Lauter“, „Leiser“ und „Stumm“. Quenstal übernimmt die Tasten dann.</translation>
    </message>
    <message>
        <source>The keyboard layout has no volume keys. Choose one that does, or connect a keyboard with volume keys.</source>
        <translation>Die Tastaturbelegung hat keine Lautstärketasten. Wählen Sie eine andere oder schließen Sie eine Tastatur mit solchen Tasten an.</translation>
    </message>
    <message>
        <source>%1: no access to %2.</source>
        <translation>%1: kein Zugriff auf %2.</translation>
    </message>
    <message>
        <source>%1 does not report its volume on %2.</source>
        <translation>%1 meldet keine Lautstärke über %2.</translation>
    </message>
    <message>
        <source>%1 does not accept volume changes on %2.</source>
        <translation>%1 nimmt keine Lautstärke über %2 an.</translation>
    </message>
    <message>
        <source>%1: the driver for %2 is not responding.</source>
        <translation>%1: Der Treiber für %2 reagiert nicht.</translation>
    </message>
    <message>
        <source>%1 cannot be reached over DDC/CI. Left alone because not known to lead to a display: %2.</source>
        <translation>%1 ist über DDC/CI nicht erreichbar. Nicht angerührt, weil dort kein Bildschirm bekannt ist: %2.</translation>
    </message>
    <message>
        <source>%1 cannot be reached over DDC/CI.</source>
        <translation>%1 ist über DDC/CI nicht erreichbar.</translation>
    </message>
    <message>
        <source>Turn on DDC/CI in the monitor&apos;s own menu.</source>
        <translation>Schalten Sie DDC/CI im Menü des Monitors ein.</translation>
    </message>
    <message>
        <source>Unplug the monitor and plug it in again.</source>
        <translation>Ziehen Sie den Monitor ab und schließen Sie ihn wieder an.</translation>
    </message>
    <message>
        <source>Load the kernel module i2c-dev.</source>
        <translation>Laden Sie das Kernelmodul i2c-dev.</translation>
    </message>
    <message>
        <source>%1 at %2</source>
        <extracomment>%1 is a key, %2 the time of day</extracomment>
        <translation>%1 um %2</translation>
    </message>
    <message>
        <source>Install the package: its udev rule 70-quenstal-i2c.rules gives access to the user of the active session.</source>
        <translation>Installieren Sie das Paket: Seine udev-Regel 70-quenstal-i2c.rules gibt dem Benutzer der aktiven Sitzung Zugriff.</translation>
    </message>
    <message>
        <source>No keyboard with volume keys is connected.</source>
        <translation>Es ist keine Tastatur mit Lautstärketasten angeschlossen.</translation>
    </message>
    <message>
        <source>Another program has taken over the keyboard. Quenstal will try again when that program exits.</source>
        <translation>Ein anderes Programm hat die Tastatur übernommen. Quenstal versucht es wieder, wenn es beendet ist.</translation>
    </message>
    <message>
        <source>The system cannot create a copy of the keyboard (uinput), which Quenstal needs to pass all other keys on to the desktop. &quot;journalctl --dmesg&quot; may show why. Quenstal will try again in half a minute.</source>
        <translation>Das System kann keine Kopie der Tastatur anlegen (uinput), über die Quenstal alle anderen Tasten an den Desktop weitergibt. „journalctl --dmesg“ nennt vielleicht den Grund. Quenstal versucht es in einer halben Minute wieder.</translation>
    </message>
    <message>
        <source>The system has run out of processes or open files, so Quenstal cannot start the process that guards the keyboard. Close some programs. Quenstal will try again in half a minute.</source>
        <translation>Dem System sind Prozesse oder offene Dateien ausgegangen; Quenstal kann den Prozess nicht starten, der die Tastatur bewacht. Schließen Sie einige Programme. Quenstal versucht es in einer halben Minute wieder.</translation>
    </message>
    <message>
        <source>A key is being held down or is stuck. Quenstal will capture the volume keys when it is released.</source>
        <translation>Auf der Tastatur ist eine Taste gedrückt oder klemmt. Quenstal übernimmt die Lautstärketasten, wenn sie losgelassen ist.</translation>
    </message>
    <message>
        <source>The volume keys are lost again as soon as they are captured. Quenstal will try again within half a minute.</source>
        <translation>Die Lautstärketasten gehen sofort wieder verloren. Quenstal versucht es spätestens in einer halben Minute wieder.</translation>
    </message>
    <message>
        <source>Quenstal does not have access to the keyboard. Install its package (&quot;./package install&quot;): its service passes the volume keys, and nothing else you type, to the active session. Do not join the group &quot;input&quot;: every program could then read everything you type.</source>
        <translation>Quenstal hat keinen Zugriff auf die Tastatur. Installieren Sie sein Paket („./package install“): Dessen Dienst gibt der aktiven Sitzung die Lautstärketasten, sonst nichts. Treten Sie nicht der Gruppe „input“ bei: Jedes Programm könnte dann alles mitlesen.</translation>
    </message>
    <message>
        <source>Quenstal&apos;s key service is not responding. &quot;systemctl status quenstal-keyd&quot; shows why. Quenstal will try again in half a minute.</source>
        <translation>Quenstals Tastendienst reagiert nicht. „systemctl status quenstal-keyd“ zeigt den Grund. Quenstal versucht es in einer halben Minute wieder.</translation>
    </message>
    <message>
        <source>The volume keys belong to the active session; this one is in the background. Quenstal will capture them when you return.</source>
        <translation>Die Lautstärketasten gehören der aktiven Sitzung; diese ist im Hintergrund. Quenstal übernimmt sie, wenn Sie zurückkehren.</translation>
    </message>
    <message>
        <source>This computer&apos;s administrator does not allow this session to use the volume keys. Ask them to allow the polkit action &quot;app.quenstal.capture-volume-keys&quot;.</source>
        <translation>Der Administrator erlaubt dieser Sitzung die Lautstärketasten nicht. Bitten Sie ihn, in polkit die Aktion „app.quenstal.capture-volume-keys“ zu erlauben.</translation>
    </message>
    <message>
        <source>The system&apos;s polkit service, which decides who may use the volume keys, did not respond. Quenstal will try again in half a minute.</source>
        <translation>Der Systemdienst polkit, der entscheidet, wer die Lautstärketasten nutzen darf, hat nicht geantwortet. Quenstal versucht es in einer halben Minute wieder.</translation>
    </message>
    <message>
        <source>Another program in this session has already captured the volume keys. Quit it; Quenstal will try again in half a minute.</source>
        <translation>Ein anderes Programm dieser Sitzung hat die Lautstärketasten schon. Beenden Sie es; Quenstal versucht es in einer halben Minute wieder.</translation>
    </message>
    <message>
        <source>Quenstal&apos;s key service does not have access to the keyboard. Reinstall Quenstal&apos;s package, or restart the computer if you have just installed it.</source>
        <translation>Quenstals Tastendienst hat keinen Zugriff auf die Tastatur. Installieren Sie Quenstals Paket noch einmal, oder starten Sie den Computer neu, wenn Sie es eben erst installiert haben.</translation>
    </message>
    <message>
        <source>Quenstal&apos;s key service is busy. Quenstal will try again in half a minute.</source>
        <translation>Quenstals Tastendienst ist beschäftigt. Quenstal versucht es in einer halben Minute wieder.</translation>
    </message>
    <message>
        <source>Quenstal&apos;s preferences</source>
        <translation>Quenstals Einstellungen</translation>
    </message>
    <message>
        <source>Your preferences file is not valid. Quenstal is using its defaults and has kept the old file as preferences.json.broken.</source>
        <translation>Die Datei mit Ihren Einstellungen ist ungültig. Quenstal nutzt seine Voreinstellungen und hat die alte Datei als preferences.json.broken aufbewahrt.</translation>
    </message>
    <message>
        <source>Your preferences file cannot be read. Quenstal will leave it unchanged and try again; until then, changes are lost when Quenstal quits.</source>
        <translation>Die Datei mit Ihren Einstellungen lässt sich nicht lesen. Quenstal lässt sie unverändert und versucht es wieder; bis dahin gehen Änderungen verloren, wenn Quenstal beendet wird.</translation>
    </message>
    <message>
        <source>Your preferences cannot be saved. Quenstal will try again; until then, changes are lost when Quenstal quits.</source>
        <translation>Ihre Einstellungen lassen sich nicht speichern. Quenstal versucht es wieder; bis dahin gehen Änderungen verloren, wenn Quenstal beendet wird.</translation>
    </message>
    <message>
        <source>Unknown Output</source>
        <translation>Unbekannter Ausgang</translation>
    </message>
</context>
<context>
    <name>Dial</name>
    <message>
        <source>Volume</source>
        <translation>Lautstärke</translation>
    </message>
    <message>
        <source>OFF</source>
        <translation>AUS</translation>
    </message>
    <message>
        <source>MUTED</source>
        <translation>STUMM</translation>
    </message>
    <message>
        <source>VOLUME</source>
        <translation>LAUTSTÄRKE</translation>
    </message>
</context>
<context>
    <name>DialScreen</name>
    <message>
        <source>Display has no DDC/CI - using software volume</source>
        <translation>Monitor ohne DDC/CI – Software-Lautstärke aktiv</translation>
    </message>
    <message>
        <source>Quenstal</source>
        <translation>Quenstal</translation>
    </message>
    <message>
        <source>Mute</source>
        <translation>Stumm</translation>
    </message>
    <message>
        <source>On</source>
        <translation>An</translation>
    </message>
    <message>
        <source>Off</source>
        <translation>Aus</translation>
    </message>
    <message>
        <source>EQ</source>
        <translation>EQ</translation>
    </message>
    <message>
        <source>More</source>
        <translation>Mehr</translation>
    </message>
    <message>
        <source>Actions</source>
        <translation>Aktionen</translation>
    </message>
</context>
<context>
    <name>EqualizerControls</name>
    <message>
        <source>Preamp</source>
        <translation>Vorverst.</translation>
    </message>
    <message>
        <source>%1 dB</source>
        <translation>%1 dB</translation>
    </message>
    <message>
        <source>Reset</source>
        <translation>Zurücksetzen</translation>
    </message>
</context>
<context>
    <name>EqualizerScreen</name>
    <message>
        <source>Equalizer</source>
        <translation>Equalizer</translation>
    </message>
</context>
<context>
    <name>EqualizerUnavailable</name>
    <message>
        <source>EQ is unavailable</source>
        <translation>EQ ist nicht verfügbar</translation>
    </message>
    <message>
        <source>Try Software Mode</source>
        <translation>Softwaremodus testen</translation>
    </message>
    <message>
        <source>Sound Settings</source>
        <translation>Toneinstellungen</translation>
    </message>
    <message>
        <source>Reason: %1</source>
        <translation>Grund: %1</translation>
    </message>
</context>
<context>
    <name>GainSlider</name>
    <message>
        <source>%1 dB</source>
        <translation>%1 dB</translation>
    </message>
</context>
<context>
    <name>Header</name>
    <message>
        <source>Back</source>
        <translation>Zurück</translation>
    </message>
</context>
<context>
    <name>Meters</name>
    <message>
        <source>L</source>
        <translation>L</translation>
    </message>
    <message>
        <source>R</source>
        <translation>R</translation>
    </message>
</context>
<context>
    <name>MoreActions</name>
    <message>
        <source>More</source>
        <translation>Mehr</translation>
    </message>
    <message>
        <source>Setup Guide</source>
        <translation>Einrichtung</translation>
    </message>
    <message>
        <source>Sound Settings</source>
        <translation>Toneinstellungen</translation>
    </message>
    <message>
        <source>Refresh Output</source>
        <translation>Ausgang neu lesen</translation>
    </message>
    <message>
        <source>Copy Diagnostics</source>
        <translation>Diagnose kopieren</translation>
    </message>
    <message>
        <source>Quit Quenstal</source>
        <translation>Quenstal beenden</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Schließen</translation>
    </message>
</context>
<context>
    <name>PreampSlider</name>
    <message>
        <source>Preamp</source>
        <translation>Vorverst.</translation>
    </message>
</context>
<context>
    <name>PresetBar</name>
    <message>
        <source>Presets</source>
        <translation>Vorgaben</translation>
    </message>
</context>
<context>
    <name>SetupScreen</name>
    <message>
        <source>First-run essentials</source>
        <translation>Erste Schritte</translation>
    </message>
    <message>
        <source>Accessibility</source>
        <translation>Bedienungshilfen</translation>
    </message>
    <message>
        <source>System Audio Capture</source>
        <translation>Systemton-Aufnahme</translation>
    </message>
    <message>
        <source>Done</source>
        <translation>Fertig</translation>
    </message>
</context>
<context>
    <name>quenstal::TrayStatusItem</name>
    <message>
        <source>_Open</source>
        <translation>Ö_ffnen</translation>
    </message>
    <message>
        <source>_Mute</source>
        <translation>_Stumm</translation>
    </message>
    <message>
        <source>_Quit</source>
        <translation>_Beenden</translation>
    </message>
</context>
</TS>

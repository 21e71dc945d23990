' Splits a table into tokens: which time zones do many countries share, and which countries have many zones?
'
'     cscript //nologo zones.vbs [FILE]
'
' Without FILE it reads data\zones.tab beside this script: one zone a line, columns separated by tabs, and several
' countries in one column separated by commas.
Option Explicit

Const MANY = 10

Dim fso, path, file, line
Dim zones, zone, codes, code, countries, zonesOf, places, longest, most, i

Set fso = CreateObject("Scripting.FileSystemObject")
If WScript.Arguments.Count > 0 Then
    path = WScript.Arguments(0)
Else
    path = fso.BuildPath(fso.GetParentFolderName(WScript.ScriptFullName), "data\zones.tab")
End If

Set file = CreateObject("Nuvolex.NXFileStream")
If Not file.Open(path, False) Then
    WScript.Echo "cannot open " & path
    WScript.Quit 1
End If

' A list of token strings: one of them for each line. AddNew makes one, appends it and returns it.
Set zones = CreateObject("Nuvolex.NXTokenStringList")
Do Until file.IsEOF
    line = file.ReadNextLine
    If Not file.IsCommentLine(line) Then ' it begins with "#" or ";", or is blank
        Set zone = zones.AddNew
        zone.Separator = vbTab
        zone.Value = line
    End If
Loop
file.Close

' A token string of its own for the column with the countries. The default member is the token, counted from 0: zone(0)
' is short for zone.Token(0).
Set codes = CreateObject("Nuvolex.NXTokenString")
codes.Separator = ","

' A list of strings has no search; a dictionary, which counts the zones, knows what is in it.
Set countries = CreateObject("Nuvolex.NXStringList")
Set zonesOf = CreateObject("Scripting.Dictionary")

WScript.Echo "Zones that " & MANY & " countries or more share:"
For Each zone In zones
    codes.Value = zone(0)
    If codes.Count >= MANY Then WScript.Echo "  " & codes.Count & vbTab & zone(2)
    For Each code In codes
        If Not zonesOf.Exists(code) Then
            countries.Item(countries.Count) = code ' writing one past the end appends, as countries.Add does
            zonesOf.Add code, 0
        End If
        zonesOf(code) = zonesOf(code) + 1
    Next
Next

WScript.Echo "Countries with " & MANY & " zones or more, of " & countries.Count & ":"
For i = 0 To countries.Count - 1
    If zonesOf(countries(i)) >= MANY Then WScript.Echo "  " & zonesOf(countries(i)) & vbTab & countries(i)
Next

' Here the separator is a text of two characters. Set it first and MultiCharacter after it: writing Separator goes back
' to "each character separates".
Set places = CreateObject("Nuvolex.NXTokenString")
places.Separator = ", "
places.MultiCharacter = True
most = 0
For i = 0 To zones.Count - 1
    If zones(i).Count > 3 Then ' the fourth column, a comment, is there only where it is needed
        places.Value = zones(i)(3)
        If places.Count > most Then
            most = places.Count
            Set longest = zones(i) ' the object in the list, not a copy
        End If
    End If
Next
If most > 0 Then WScript.Echo "Longest list in a comment: " & longest(2) & ", " & most & " items: " & longest(3)

' Some script hosts end in silence when a script fails; the last line proves that this one ran to its end.
WScript.Echo "Done: " & zones.Count & " zones read."

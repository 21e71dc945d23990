' Reads a configuration file section by section.
'
'     cscript //nologo settings.vbs [FILE]
'
' Without FILE it reads data\settings.ini beside this script: lines "name = value" in sections that begin with a line
' such as [general]; between them blank lines and comments.
Option Explicit

Dim fso, path, file, line, sections, settings

Set fso = CreateObject("Scripting.FileSystemObject")
If WScript.Arguments.Count > 0 Then
    path = WScript.Arguments(0)
Else
    path = fso.BuildPath(fso.GetParentFolderName(WScript.ScriptFullName), "data\settings.ini")
End If

' Open tells by its result whether it worked; a file stream raises no errors. False means text mode: lines end with
' CR LF, and these two characters are not part of what is read.
Set file = CreateObject("Nuvolex.NXFileStream")
If Not file.Open(path, False) Then
    WScript.Echo "cannot open " & path
    WScript.Quit 1
End If

Function IsHeader(line)
    IsHeader = Left(line, 1) = "["
End Function

' Reads the settings up to the next section, and returns how many there are. Where a section ends is known only when
' the header of the next one has been read, so that line is given back: the next ReadNextLine reads it again.
' UngetLine counts on line ends of two characters, CR LF, and on text with one byte for each character.
Function ReadSettings
    ReadSettings = 0
    Do Until file.IsEOF
        line = file.ReadNextLine
        If IsHeader(line) Then
            file.UngetLine
            Exit Do
        End If
        If Not file.IsCommentLine(line) Then ' blank lines count as comments
            WScript.Echo "  " & SettingName(line) & " -> " & SettingValue(line)
            ReadSettings = ReadSettings + 1
        End If
    Loop
End Function

' The parts before and after the first "="; a line without one is all name.
Function SettingName(line)
    SettingName = Trim(Left(line, InStr(line & "=", "=") - 1))
End Function

Function SettingValue(line)
    SettingValue = Trim(Mid(line, InStr(line & "=", "=") + 1))
End Function

sections = 0
settings = 0
Do Until file.IsEOF
    line = file.ReadNextLine
    If IsHeader(line) Then
        WScript.Echo line
        sections = sections + 1
        settings = settings + ReadSettings
    ElseIf Not file.IsCommentLine(line) Then
        WScript.Echo "ignored, because it stands before the first section: " & line
    End If
Loop
file.Close

' Some script hosts end in silence when a script fails; the last line proves that this one ran to its end.
WScript.Echo "Done: " & settings & " settings in " & sections & " sections."

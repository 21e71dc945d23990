' Writes a part of a table as a new file: the time zones that several countries share, their names in front.
'
'     cscript //nologo filter.vbs [NEW-FILE]
'
' Reads data\zones.tab beside this script. Without NEW-FILE, the copy goes to the folder for temporary files and is
' deleted at the end; NEW-FILE is kept, and must not exist yet.
Option Explicit

Dim fso, folder, path, keep, source, copy, line, row, codes, written, read

Set fso = CreateObject("Scripting.FileSystemObject")
folder = fso.GetParentFolderName(WScript.ScriptFullName)
keep = WScript.Arguments.Count > 0
If keep Then
    path = WScript.Arguments(0)
Else
    path = fso.BuildPath(fso.GetSpecialFolder(2), fso.GetTempName)
End If

Sub GiveUp(reason)
    WScript.Echo reason
    WScript.Quit 1
End Sub

Set source = CreateObject("Nuvolex.NXFileStream")
If Not source.Open(fso.BuildPath(folder, "data\zones.tab"), False) Then GiveUp "cannot open data\zones.tab"

' How to write a new file. Open is for files that exist, so it fails, but the stream remembers the name. Clear creates
' the file of that name (one that exists would be emptied!) and leaves it closed. Open works now.
Set copy = CreateObject("Nuvolex.NXFileStream")
If copy.Open(path, False) Then GiveUp path & " exists already"
copy.Clear
If Not copy.Open(copy.fileName, False) Then GiveUp "cannot create " & path

' One token string cuts the rows at the tabs, another one the first column at the commas.
Set row = CreateObject("Nuvolex.NXTokenString")
row.Separator = vbTab
Set codes = CreateObject("Nuvolex.NXTokenString")
codes.Separator = ","

' Lines of 127 characters and more are not for this reader: exactly 127 come joined with the next line, longer ones come
' cut, and then reading stops. The longest line of this table has 124; look at your own tables before you read them.
written = 0
Do Until source.IsEOF
    line = source.ReadNextLine ' that this file's lines end with a lone LF makes no difference
    If Not source.IsCommentLine(line) Then
        row.Value = line
        codes.Value = row(0)
        If codes.Count > 1 Then
            copy.WriteLine row(2) & vbTab & codes.Count & vbTab & codes.Value
            written = written + 1
        End If
    End If
Loop
source.Close
copy.Close

' Read it back. What WriteLine wrote ends with a line end, so one more, empty line comes last; it is told by its length.
If Not copy.Open(path, False) Then GiveUp "cannot open " & path
read = 0
Do Until copy.IsEOF
    line = copy.ReadNextLine
    If Len(line) > 0 Then
        read = read + 1
        If read <= 5 Then WScript.Echo line
    End If
Loop
copy.Close ' a file cannot be deleted while it is open
If read > 5 Then WScript.Echo "..."
If Not keep Then fso.DeleteFile path

' Some script hosts end in silence when a script fails; the last line proves that this one ran to its end.
WScript.Echo "Done: " & written & " zones written, " & read & " read back."

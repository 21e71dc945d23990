# Nothing here has run this program yet: it is written from the documentation of PowerShell.
#
# PowerShell: the time zones that ten countries or more share. The same program as the others in this folder.
#
#     powershell -ExecutionPolicy Bypass -File zones.ps1 ..\data\zones.tab shared.txt
#
# The first file is read, the second one written.
param(
    [Parameter(Mandatory)] [string] $Table,
    [Parameter(Mandatory)] [string] $NewFile
)

$many = 10

# A relative name counts from the folder of the process for the file stream, which need not be PowerShell's.
$paths = $ExecutionContext.SessionState.Path
$tablePath = $paths.GetUnresolvedProviderPathFromPSPath($Table)
$newPath = $paths.GetUnresolvedProviderPathFromPSPath($NewFile)

# Read: one row a line, split at tabs. A result that is not used goes to [void]; otherwise it would be printed.
$file = New-Object -ComObject Nuvolex.NXFileStream
if (-not $file.Open($tablePath, $false)) {
    "cannot open $tablePath"
    exit 1
}
$rows = New-Object -ComObject Nuvolex.NXTokenStringList
while (-not $file.IsEOF()) {
    $line = $file.ReadNextLine()
    if (-not $file.IsCommentLine($line)) { # begins with "#", or is empty like the one after the last line end
        $row = $rows.AddNew() # a new token string, which is in the list already
        $row.Separator = "`t"
        $row.Value = $line
    }
}

# Split the first column at commas, and collect the names in the third.
$codes = New-Object -ComObject Nuvolex.NXTokenString
$codes.Separator = ','
$names = New-Object -ComObject Nuvolex.NXStringList
foreach ($row in $rows) {
    $codes.Value = $row.Token(0)
    if ($codes.Count -ge $many) {
        $names.Add($row.Token(2))
    }
}
"$($names.Count) of $($rows.Count) zones are shared by $many countries or more:"
foreach ($name in $names) {
    "  $name"
}

# A variant collection holds values of any type.
$facts = New-Object -ComObject Nuvolex.NXVariantCollection
$facts.Add($rows.Count)
$facts.Add($names.Item(0))
foreach ($fact in $facts) {
    "fact: $fact"
}

# Indices count from 0, so this one is one too large. PowerShell may wrap the COMException in one of its own.
try {
    [void]$names.Item($names.Count)
} catch {
    $exception = $_.Exception.GetBaseException()
    'error 0x{0:x}: {1}' -f $exception.HResult, $exception.Message
}

# Write: Open opens existing files only, Clear creates one (or empties it).
if (-not $file.Open($newPath, $false)) {
    'a new file'
}
$file.Clear()
[void]$file.Open($newPath, $false)
$written = 0
foreach ($name in $names) {
    if ($file.WriteLine($name)) { $written++ }
}

# Read back. The extra empty line after the last line end is not counted.
[void]$file.Open($newPath, $false)
$found = 0
while (-not $file.IsEOF()) {
    if ($file.ReadNextLine() -ne '') { $found++ }
}
$file.Close()
"$written lines written, $found read back"

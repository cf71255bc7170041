# Removes the files the library fetched for a silent installation, as
# tvpackagechainer.exe does itself: each file of CleanupFiles (separated by
# U+0001) that lies below the stop folder CleanupFolders, compared by whole
# path components after "." and ".." are resolved, and then the folders
# made for it up to, never including, the stop folder.
#   powershell -File file_deleter.ps1 -Ini <path of tvpackagechainer.ini>
param([Parameter(Mandatory = $true)][string]$Ini)

$section = ''
$values = @{}
foreach ($line in [System.IO.File]::ReadAllLines($Ini, [System.Text.Encoding]::Unicode)) {
    if ($line -match '^\[(.*)\]$') { $section = $Matches[1]; continue }
    $equals = $line.IndexOf('=')
    if ($section -eq 'PREREQ_CHAINER' -and $equals -gt 0) {
        $values[$line.Substring(0, $equals)] = $line.Substring($equals + 1)
    }
}
$stopText = $values['CleanupFolders']
if (-not $stopText -or -not $values['CleanupFiles']) { exit 0 }
$stop = [System.IO.Path]::GetFullPath($stopText).TrimEnd('\')
$stopParts = $stop.Split('\')

function Test-Below([string]$path) {
    $parts = $path.Split('\')
    if ($parts.Count -le $stopParts.Count) { return $false }
    for ($i = 0; $i -lt $stopParts.Count; $i++) {
        if ($parts[$i] -ine $stopParts[$i]) { return $false }
    }
    return $true
}

foreach ($entry in $values['CleanupFiles'].Split([char]1)) {
    if (-not $entry) { continue }
    try { $file = [System.IO.Path]::GetFullPath($entry) } catch { continue }
    if (-not (Test-Below $file)) { Write-Output "left in place, not below ${stop}: $entry"; continue }
    if (-not (Test-Path -LiteralPath $file -PathType Leaf)) { continue }
    Remove-Item -LiteralPath $file -Force -ErrorAction SilentlyContinue
    $folder = Split-Path -Parent $file
    while ((Test-Below $folder) -and -not (Get-ChildItem -LiteralPath $folder -Force -ErrorAction SilentlyContinue)) {
        Remove-Item -LiteralPath $folder -Force -ErrorAction SilentlyContinue
        $folder = Split-Path -Parent $folder
    }
}
exit 0

<?php
// A stand-in for the Catbox API (POST multipart to /user/api.php), run by `php -S` from
// tests/harness/qorvel-session --catbox. Everything lives in $CATBOX_STUB_DIR:
//
//   files/NAME, files/NAME.owner  uploaded files and the userhash that owns each
//   userhashes                    the known userhashes, one a line
//   requests.jsonl                one JSON line per request, written when it arrives: text
//                                 fields, userhash, the file's name, type, size, sha256 and PHP
//                                 upload error, request headers, the fault it got
//   fault                         the next request gets this answer instead (then it is removed):
//                                 "STATUS [REASON]\nHeader: value\n...\n\nBODY"; the body is every
//                                 byte after the blank line. Without a Content-Type line there
//                                 is none; without a Content-Length line it is the body's size.
//                                 "drop" or "drop N": close the connection without a byte of
//                                 answer, for the next N requests (default 1). Qt sends a
//                                 request once more when that happens, so a Qt client needs
//                                 "drop 2" to fail
//   delay_ms                      wait this long before answering (kept; remove it to stop)
//   bodies/N.bin                  raw mode only (-d enable_post_data_reading=0): request bodies
//                                 verbatim, N counting from 1
//
// The built-in server reads the whole request before it runs the script, so a "drop" always
// comes after the client has sent its body. A client that gives up during a delay is answered
// all the same (nobody listens): an upload is stored, as a real server would.

declare(strict_types=1);

// A warning printed into the body would corrupt the answer a client parses.
ini_set('display_errors', 'stderr');
header_remove('X-Powered-By');

$dir = getenv('CATBOX_STUB_DIR');
if ($dir === false || $dir === '' || !is_dir($dir)) {
    answer(500, "CATBOX_STUB_DIR is not set or not a folder");
}
@mkdir("$dir/files");

$raw = !filter_var(ini_get('enable_post_data_reading'), FILTER_VALIDATE_BOOLEAN);
$bodyFile = null;
$fields = [];
$uploads = [];
$tooLarge = false;
$malformed = null;

if ($raw) {
    $body = file_get_contents('php://input');
    @mkdir("$dir/bodies");
    // Several workers answer at once: an exclusive create claims a number.
    for ($n = count(glob("$dir/bodies/*.bin")) + 1; ; $n++) {
        $fh = @fopen("$dir/bodies/$n.bin", 'x');
        if ($fh !== false) {
            break;
        }
    }
    fwrite($fh, $body);
    fclose($fh);
    $bodyFile = "bodies/$n.bin";
    $malformed = parse_multipart($_SERVER['CONTENT_TYPE'] ?? '', $body, $fields, $uploads);
    unset($body);
} else {
    $fields = $_POST;
    foreach ($_FILES as $field => $f) {
        if (is_array($f['name'])) {
            continue; // field[] arrays: never sent by the client, and logged as other_file_fields
        }
        $uploads[$field] = ['name' => $f['name'], 'type' => $f['type'], 'size' => $f['size'],
            'error' => $f['error'], 'path' => $f['tmp_name'], 'data' => null];
    }
    // Over post_max_size PHP drops the whole body, text fields included, and only warns.
    $length = (int)($_SERVER['CONTENT_LENGTH'] ?? 0);
    $tooLarge = $_POST === [] && $_FILES === [] && $length > ini_parse_quantity(ini_get('post_max_size'));
}

$fault = take_fault($dir);
$userhash = isset($fields['userhash']) && is_string($fields['userhash']) ? $fields['userhash'] : null;
$file = $uploads['fileToUpload'] ?? null;
$textFields = $fields;
unset($textFields['userhash']);
log_request($dir, [
    'time' => microtime(true),
    'method' => $_SERVER['REQUEST_METHOD'],
    'uri' => $_SERVER['REQUEST_URI'],
    'raw' => $raw,
    'body_file' => $bodyFile,
    'content_type' => $_SERVER['CONTENT_TYPE'] ?? null,
    'content_length' => isset($_SERVER['CONTENT_LENGTH']) ? (int)$_SERVER['CONTENT_LENGTH'] : null,
    'user_agent' => $_SERVER['HTTP_USER_AGENT'] ?? null,
    'headers' => getallheaders(),
    'fields' => (object)$textFields,
    'userhash_present' => $userhash !== null,
    'userhash' => $userhash,
    'file' => $file === null ? null : [
        'name' => $file['name'],
        'type' => $file['type'],
        'size' => $file['size'],
        'sha256' => $file['error'] !== UPLOAD_ERR_OK ? null
            : ($file['data'] !== null ? hash('sha256', $file['data']) : hash_file('sha256', $file['path'])),
        'error' => $file['error'],
    ],
    'other_file_fields' => array_values(array_diff(array_keys($raw ? $uploads : $_FILES), ['fileToUpload'])),
    'too_large' => $tooLarge,
    'malformed' => $malformed,
    'fault' => $fault === null ? null : strtok($fault, "\n"),
]);

delay($dir);

if ($fault !== null) {
    answer_fault($fault);
}
if ($_SERVER['REQUEST_METHOD'] !== 'POST') {
    answer(405, 'Only POST is supported.', ['Allow: POST']);
}
if ($tooLarge) {
    answer(413, 'File too large.');
}
if ($malformed !== null) {
    answer(400, "Malformed multipart body: $malformed");
}

switch ($fields['reqtype'] ?? '') {
    case 'fileupload':
        upload($dir, $file, $userhash);
    case 'deletefiles':
        delete_files($dir, $userhash, is_string($fields['files'] ?? null) ? $fields['files'] : '');
    default:
        answer(400, 'Unknown reqtype.');
}

function upload(string $dir, ?array $file, ?string $userhash): never
{
    if ($file === null || $file['error'] === UPLOAD_ERR_NO_FILE) {
        answer(400, 'No file');
    }
    if ($file['error'] === UPLOAD_ERR_INI_SIZE || $file['error'] === UPLOAD_ERR_FORM_SIZE) {
        answer(413, 'File too large.');
    }
    if ($file['error'] !== UPLOAD_ERR_OK) {
        answer(500, "Upload failed (PHP upload error {$file['error']}).");
    }
    if ($userhash === '') {
        $userhash = null; // an empty field is an anonymous upload
    }
    if ($userhash !== null && !in_array($userhash, known_userhashes($dir), true)) {
        answer(400, 'Invalid userhash.');
    }

    $extension = pathinfo($file['name'], PATHINFO_EXTENSION);
    $extension = preg_match('/^[A-Za-z0-9]{1,16}$/', $extension) ? ".$extension" : '';
    // Claim the name with an exclusive create so that two uploads never share one.
    do {
        $name = random_name() . $extension;
        $fh = @fopen("$dir/files/$name", 'x');
    } while ($fh === false);
    fclose($fh);
    $stored = $file['data'] !== null
        ? file_put_contents("$dir/files/$name", $file['data']) !== false
        : move_uploaded_file($file['path'], "$dir/files/$name");
    if (!$stored) {
        @unlink("$dir/files/$name");
        answer(500, 'Could not store the file.');
    }
    if ($userhash !== null) {
        file_put_contents("$dir/files/$name.owner", $userhash);
    }
    answer(200, "https://files.catbox.moe/$name");
}

function delete_files(string $dir, ?string $userhash, string $list): never
{
    $names = preg_split('/\s+/', $list, -1, PREG_SPLIT_NO_EMPTY);
    if ($names === []) {
        answer(400, "File doesn't exist or not owned by you: ");
    }
    // Nothing is deleted unless every file may be.
    foreach ($names as $name) {
        $owned = preg_match('/^[a-z0-9]{6}(\.[A-Za-z0-9]+)?$/', $name)
            && is_file("$dir/files/$name")
            && $userhash !== null && $userhash !== ''
            && @file_get_contents("$dir/files/$name.owner") === $userhash;
        if (!$owned) {
            answer(400, "File doesn't exist or not owned by you: $name");
        }
    }
    foreach ($names as $name) {
        unlink("$dir/files/$name");
        unlink("$dir/files/$name.owner");
    }
    answer(200, 'Files successfully deleted.');
}

function known_userhashes(string $dir): array
{
    $lines = @file("$dir/userhashes", FILE_IGNORE_NEW_LINES | FILE_SKIP_EMPTY_LINES);
    return $lines === false ? [] : array_map('trim', $lines);
}

function random_name(): string
{
    $alphabet = 'abcdefghijklmnopqrstuvwxyz0123456789';
    $name = '';
    for ($i = 0; $i < 6; $i++) {
        $name .= $alphabet[random_int(0, 35)];
    }
    return $name;
}

function answer(int $status, string $body, array $headers = []): never
{
    http_response_code($status);
    // PHP would add "; charset=UTF-8" to a text/ type of its own accord.
    ini_set('default_charset', '');
    header('Content-Type: text/plain');
    foreach ($headers as $line) {
        header($line);
    }
    // Without a length the built-in server ends the body by closing, which some clients only
    // notice late.
    header('Content-Length: ' . strlen($body));
    echo $body;
    exit;
}

// Moves the fault file out of the way first, so that of two requests arriving together exactly
// one gets it.
function take_fault(string $dir): ?string
{
    $taken = "$dir/fault." . getmypid() . '.taken';
    if (!@rename("$dir/fault", $taken)) {
        return null;
    }
    $fault = file_get_contents($taken);
    unlink($taken);
    if (preg_match('/^drop[ \t]+(\d+)\s*(\n|$)/', $fault, $m) && (int)$m[1] > 1) {
        // Put the rest back; rename keeps another request from seeing a half-written file.
        $next = "$dir/fault." . getmypid() . '.next';
        file_put_contents($next, 'drop ' . ((int)$m[1] - 1) . "\n");
        rename($next, "$dir/fault");
    }
    return $fault;
}

function answer_fault(string $fault): never
{
    $lines = explode("\n", $fault);
    $first = rtrim(array_shift($lines), "\r");
    if (preg_match('/^drop(\s+\d+)?\s*$/', $first)) {
        drop_connection();
    }
    if (!preg_match('/^(\d{3})(?:[ \t]+(.*))?$/', $first, $m)) {
        answer(500, "Bad fault file: the first line must be a status code or \"drop\", not \"$first\"");
    }
    $headers = [];
    $body = '';
    while ($lines !== []) {
        $line = rtrim(array_shift($lines), "\r");
        if ($line === '') {
            $body = implode("\n", $lines);
            break;
        }
        $headers[] = $line;
    }

    ini_set('default_mimetype', '');
    ini_set('default_charset', '');
    if (isset($m[2]) && $m[2] !== '') {
        header("HTTP/1.1 {$m[1]} {$m[2]}");
    } else {
        http_response_code((int)$m[1]);
    }
    $hasLength = false;
    foreach ($headers as $line) {
        header($line, false);
        $hasLength = $hasLength || stripos($line, 'content-length:') === 0;
    }
    if (!$hasLength) {
        header('Content-Length: ' . strlen($body));
    }
    echo $body;
    exit;
}

// The client's socket, found among our descriptors by its ports; null without FFI
// (php -d ffi.enable=1) or when the client has already gone.
function client_socket(): ?int
{
    static $fd = false;
    if ($fd !== false) {
        return $fd;
    }
    $fd = null;
    if (!class_exists('FFI')) {
        return null;
    }
    $local = (int)$_SERVER['SERVER_PORT'];
    $remote = (int)$_SERVER['REMOTE_PORT'];
    $inodes = [];
    foreach (['/proc/self/net/tcp', '/proc/self/net/tcp6'] as $table) {
        foreach (array_slice(@file($table) ?: [], 1) as $row) {
            $cols = preg_split('/\s+/', trim($row));
            if (hexdec(explode(':', $cols[1])[1]) === $local && hexdec(explode(':', $cols[2])[1]) === $remote) {
                $inodes[$cols[9]] = true;
            }
        }
    }
    foreach (scandir('/proc/self/fd') as $entry) {
        if (preg_match('/^socket:\[(\d+)\]$/', (string)@readlink("/proc/self/fd/$entry"), $m)
            && isset($inodes[$m[1]])) {
            return $fd = (int)$entry;
        }
    }
    return null;
}

function libc(): ?FFI
{
    static $libc = null;
    try {
        return $libc ??= FFI::cdef('int shutdown(int fd, int how);
            long recv(int fd, void *buf, unsigned long len, int flags);');
    } catch (Throwable) {
        return null;
    }
}

// The script cannot close the server's socket, and killing the worker would shrink the pool
// for good (the server never replaces a worker). Shutting the socket down ends the connection
// with a FIN: the server's own answer afterwards goes nowhere.
function drop_connection(): never
{
    $fd = client_socket();
    $libc = class_exists('FFI') ? libc() : null;
    if ($fd === null || $libc === null) {
        answer(500, 'Cannot drop the connection: run php with -d ffi.enable=1');
    }
    $libc->shutdown($fd, 2 /* SHUT_RDWR */);
    exit;
}

function client_gone(): bool
{
    $fd = client_socket();
    $libc = $fd === null ? null : libc();
    if ($libc === null) {
        return false;
    }
    $buf = FFI::new('char[1]');
    // MSG_PEEK | MSG_DONTWAIT: 0 means the client closed its end.
    return $libc->recv($fd, $buf, 1, 0x2 | 0x40) === 0;
}

// Waits in slices, so that a test can cut a stall short by removing delay_ms, and a client
// that gave up does not hold a worker for the rest of it.
function delay(string $dir): void
{
    $ms = @file_get_contents("$dir/delay_ms");
    if ($ms === false) {
        return;
    }
    $deadline = hrtime(true) + (int)trim($ms) * 1000000;
    while (($left = $deadline - hrtime(true)) > 0) {
        usleep((int)min($left / 1000, 50000));
        if (!file_exists("$dir/delay_ms") || client_gone()) {
            return;
        }
    }
}

function log_request(string $dir, array $record): void
{
    $line = json_encode($record, JSON_UNESCAPED_SLASHES | JSON_INVALID_UTF8_SUBSTITUTE) . "\n";
    file_put_contents("$dir/requests.jsonl", $line, FILE_APPEND | LOCK_EX);
}

// multipart/form-data as the client must send it (RFC 7578): CRLF line ends, the boundary from
// Content-Type, nothing after the closing delimiter but an optional CRLF. Returns what is wrong,
// or null.
function parse_multipart(string $contentType, string $body, array &$fields, array &$uploads): ?string
{
    if (!preg_match('~^multipart/form-data\s*;(?:.*;)?\s*boundary=(?:"([^"]+)"|([^\s;]+))~i', $contentType, $m)) {
        return 'Content-Type is not multipart/form-data with a boundary';
    }
    $delimiter = '--' . ($m[1] !== '' ? $m[1] : $m[2]);
    if (!str_starts_with($body, $delimiter)) {
        return 'the body does not start with the boundary';
    }
    $pos = strlen($delimiter);
    while (true) {
        if (substr($body, $pos, 2) === '--') {
            $rest = substr($body, $pos + 2);
            return $rest === '' || $rest === "\r\n" ? null : 'bytes after the closing boundary';
        }
        if (substr($body, $pos, 2) !== "\r\n") {
            return 'no CRLF after a boundary';
        }
        $pos += 2;
        $next = strpos($body, "\r\n$delimiter", $pos);
        if ($next === false) {
            return 'a part is not followed by a boundary';
        }
        $part = substr($body, $pos, $next - $pos);
        $pos = $next + 2 + strlen($delimiter);

        $split = str_starts_with($part, "\r\n") ? 0 : strpos($part, "\r\n\r\n");
        if ($split === false) {
            return 'a part has no blank line after its headers';
        }
        $headers = [];
        foreach ($split === 0 ? [] : explode("\r\n", substr($part, 0, $split)) as $line) {
            if (!preg_match('/^([^:\s]+):\s*(.*)$/', $line, $h)) {
                return "bad part header line \"$line\"";
            }
            $headers[strtolower($h[1])] = $h[2];
        }
        $content = substr($part, $split + ($split === 0 ? 2 : 4));
        $disposition = $headers['content-disposition'] ?? '';
        if (!preg_match('/^form-data\s*(;|$)/i', $disposition)) {
            return 'a part without Content-Disposition: form-data';
        }
        $params = [];
        preg_match_all('/;\s*([a-z*]+)\s*=\s*(?:"((?:[^"\\\\]|\\\\.)*)"|([^;\s]*))/i', $disposition, $ps, PREG_SET_ORDER);
        foreach ($ps as $p) {
            $params[strtolower($p[1])] = $p[3] ?? preg_replace('/\\\\(.)/s', '$1', $p[2]);
        }
        if (!isset($params['name'])) {
            return 'a part without a name';
        }
        if (isset($params['filename'])) {
            $uploads[$params['name']] = ['name' => $params['filename'], 'type' => $headers['content-type'] ?? '',
                'size' => strlen($content), 'error' => UPLOAD_ERR_OK, 'path' => null, 'data' => $content];
        } else {
            $fields[$params['name']] = $content;
        }
    }
}

<?php
// A reader for tarn conform with the classes that protoc generates for PHP.
// Debian: php-bcmath php-cli php-google-protobuf protobuf-compiler
//   protoc -I /usr/share/tarn --php_out=. Tarn.proto Network.proto
//   tarn conform -- php reader.php
spl_autoload_register(function ($class) {
    $file = str_replace('\\', '/', $class) . '.php';
    require is_file($file) ? $file : "/usr/share/php/$file";
});

function answer($operation, $message, $data)
{
    if ($operation === 'from_json') {
        $message->mergeFromJsonString($data);
    } else {
        $message->mergeFromString($data);
    }
    return $operation === 'to_json'
        ? $message->serializeToJsonString()
        : $message->serializeToString();
}

while (($line = fgets(STDIN)) !== false) {
    [$identifier, $operation, $name, $data] = explode(' ', rtrim($line, "\n"));
    $class = str_replace('tarn.', 'Tarn\\', $name);
    try {
        $result = answer($operation, new $class(), base64_decode($data));
        echo "$identifier ok ", base64_encode($result), "\n";
    } catch (Exception $e) {
        echo "$identifier rejected ", strtr($e->getMessage(), "\n", ' '), "\n";
    }
}

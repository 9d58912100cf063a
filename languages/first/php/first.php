<?php
// Builds two messages, reads them back from their bytes, and writes them.
spl_autoload_register(function ($class) {
    require str_replace('\\', '/', $class) . '.php';
});

$price = new Tarn\Price([
    'line_num' => 101,
    'product_id' => 'product_id',
    'set_price' => 'set_price',
]);
$texts = new Tarn\CashCreditMsg([
    'size_1hx1w' => [
        new Tarn\CCMsgDefinitions([
            'dimensions' => 'dimensions',
            'pixelPitchMm' => 2.5,
            'messages' => ['messages', 'messages'],
        ]),
        new Tarn\CCMsgDefinitions(),
    ],
]);

foreach ([$price, $texts] as $sent) {
    $received = new $sent();
    $received->mergeFromString($sent->serializeToString());
    echo $received->serializeToString();
}

#pragma once

/// Every text of the companion, English first. A section for each command.
namespace phrases {

struct Row {
    char const* english;
    char const* russian;
};

// clang-format off
inline constexpr Row table[] = {
    // The command line
    {"Works with the configurations and devices of ostrand.",
     "Работает с конфигурациями и устройствами ostrand."},
    {"Usage", "Использование"},
    {"OPTIONS", "КЛЮЧИ"},
    {"Options", "Ключи"},
    {"Commands", "Команды"},
    {"Arguments", "Аргументы"},
    {"COMMAND", "КОМАНДА"},
    {"COMMANDS", "КОМАНДЫ"},
    {"required", "обязателен"},
    {"print this text", "показать этот текст"},
    {"the command line can't be used", "командная строка непригодна"},
    {"of the messages; otherwise as the locale says", "язык сообщений; иначе по локали"},
    {"%s: can't be written", "%s: не удалось записать"},
    {"%s: can't be read", "%s: не удалось прочитать"},

    // capture
    {"make a scenario of a log that was written with -h", "сделать сценарий из журнала, записанного с ключом -h"},
    {"the log; its frames are found by the port's name", "журнал; кадры ищутся по имени порта"},
    {"name of the port, as in the configuration", "имя порта из конфигурации"},
    {"only this device of the port", "только это устройство порта"},
    {"the configuration that was in force", "действовавшая конфигурация"},
    {"passes over the port, at most", "проходов по порту, не больше"},
    {"the scenario; standard output if absent", "сценарий; иначе стандартный вывод"},
    {"Run the daemon with -h for a while, then:\n"
     "  ostrandctl capture /var/log/ostrand/ostrand.log --port line1 -o boiler.scn\n"
     "What the daemon's drivers make of the captured frames stands in the scenario as what must come; a value\n"
     "that the log doesn't have is told on standard error.",
     "Запустите службу на время с ключом -h, затем:\n"
     "  ostrandctl capture /var/log/ostrand/ostrand.log --port line1 -o boiler.scn\n"
     "Что драйверы службы получают из записанных кадров, стоит в сценарии как ожидаемое; значение, которого нет\n"
     "в журнале, выводится в стандартный поток ошибок."},
    {"%s: no frames of port '%s': has the daemon run with -h?", "%s: нет кадров порта '%s': служба запущена с -h?"},
    {"%s: no port '%s'", "%s: нет порта '%s'"},
    {"%s: no port '%s' with a device '%s'", "%s: нет порта '%s' с устройством '%s'"},
    {"nobody takes the message to %s", "сообщение в %s никто не принимает"},
    {"the log has no such request: %s", "в журнале нет такого запроса: %s"},
    {"the log has no such value: %s = %s", "в журнале нет такого значения: %s = %s"},

    // replay
    {"serve the far end of a line by a scenario", "отвечать на линии по сценарию"},
    {"the scenario", "сценарий"},
    {"whose wire, where it has several", "чья линия, если их несколько"},
    {"make a pseudo-terminal under this path", "создать псевдотерминал по этому пути"},
    {"listen on this port of 127.0.0.1; 0 for a free one", "слушать порт 127.0.0.1; 0: любой свободный"},
    {"without the pauses of the scenario", "без пауз сценария"},
    {"  ostrandctl replay boiler.scn --tty /tmp/boiler\n"
     "serves until Ctrl-C; rs.path of the daemon's port is then /tmp/boiler.",
     "  ostrandctl replay boiler.scn --tty /tmp/boiler\n"
     "работает до Ctrl-C; rs.path порта службы тогда /tmp/boiler."},
    {"%s: which port? It has:%s", "%s: какой порт? Есть:%s"},
    {"where? Either --tty LINK or --tcp PORT", "где? Либо --tty ПУТЬ, либо --tcp ПОРТ"},
    {"no row for %s", "нет строки для %s"},

    // check, schema, topics

    // read, write

    // scan

    // watch

    // simulate
    {"serve the far end of every port of a configuration", "отвечать за устройства всех портов конфигурации"},
    {"the configuration", "конфигурация"},
    {"write a copy that leads to the simulation", "записать копию, ведущую к имитации"},
    {"part of the answers that go wrong, 0 to 1", "доля ошибочных ответов, от 0 до 1"},
    {"end by itself behind so long", "завершиться через столько секунд"},
    {"broker of Zigbee bridges, if another one", "брокер мостов Zigbee, если другой"},
    {"its port", "его порт"},
    {"folder of the templates", "каталог шаблонов"},
    {"  ostrandctl simulate plant.json --output desk.json &\n"
     "  ostrand -c desk.json\n"
     "Each device answers each of its parameters with values that move within its limits; what is written is\n"
     "read back. A serial line is a link, just where the configuration has it if that place is free.",
     "  ostrandctl simulate plant.json --output desk.json &\n"
     "  ostrand -c desk.json\n"
     "Каждое устройство отвечает на каждый свой параметр значениями, которые меняются в его пределах; записанное\n"
     "читается обратно. Последовательная линия: ссылка там, где её указывает конфигурация, если место свободно."},
    {"the file has no ports", "в файле нет портов"},
    {"port %s can't be loaded: ostrandctl check tells why", "порт %s не загружается: причину покажет ostrandctl check"},
    {"none of the ports can be served", "ни один порт не может быть обслужен"},
    {"port %s has no line: nothing to serve", "у порта %s нет линии: отвечать не за кого"},
    {"device %s (%s) isn't simulated", "устройство %s (%s) не имитируется"},
    {"no agent can listen", "агент не может открыть порт"},
    {"broker %s:%d", "брокер %s:%d"},
    {"%s: a base.tcp port without mb-tcp devices: loading never ends",
     "%s: порт base.tcp без устройств mb-tcp: загрузка не завершится"},
    {"GPIO lines aren't simulated", "линии GPIO не имитируются"},
    {"%s: is the configuration itself", "%s: это сама конфигурация"},
    {"(*) not where the configuration says: start the daemon with the copy of --output",
     "(*) не там, где указано в конфигурации: запускайте службу с копией из --output"},
    {"serving until Ctrl-C", "работает до Ctrl-C"},
    {"command%s", "команда%s"},
};
// clang-format on

}  // namespace phrases

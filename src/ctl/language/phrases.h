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

    // Long work
    {"%s left", "осталось %s"},

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
    {"find devices on a line", "найти устройства на линии"},
    {"the serial line", "последовательная линия"},
    {"HOST:PORT of Modbus TCP, or of a converter to a line", "ХОСТ:ПОРТ Modbus TCP или преобразователя линии"},
    {"rates to try", "проверяемые скорости"},
    {"parities to try", "проверяемые чётности"},
    {"data bits; with less than 8 only text protocols are asked",
     "биты данных; если меньше 8, то только текстовые протоколы"},
    {"stop bits to try", "проверяемые стоповые биты"},
    {"what to ask; all leaves out mercury, milur and vkt-7", "что опрашивать; all: кроме mercury, milur и vkt-7"},
    {"numbers and ranges: 1-10,20", "числа и диапазоны: 1-10,20"},
    {"wait for an answer, its request included, ms", "ожидание ответа вместе с запросом, мс"},
    {"behind TCP: no frames of Modbus TCP", "по TCP: без кадров Modbus TCP"},
    {"DCON modules are asked without checksums", "опрашивать модули DCON без контрольных сумм"},
    {"file for the configuration, instead of standard output", "файл для конфигурации вместо стандартного вывода"},
    {"ask on a line that another process holds", "опрашивать линию, занятую другим процессом"},
    {"where? Either --tty PATH or --tcp HOST:PORT", "где? Либо --tty ПУТЬ, либо --tcp ХОСТ:ПОРТ"},
    {"%s: not HOST:PORT", "%s: не ХОСТ:ПОРТ"},
    {"%s: no address and no range of addresses", "%s: не адрес и не диапазон адресов"},
    {"%s: no connection", "%s: нет соединения"},
    {"\"all\" leaves out those that take an opening of a session; name them to ask them:%s",
     "\"all\" не опрашивает тех, с кем открывается сеанс; чтобы опросить, назовите их:%s"},
    {"%s: another process holds the line: %s. Nothing was sent; --force asks all the same.",
     "%s: линия занята другим процессом: %s. Ничего не передано; --force опрашивает всё равно."},
    {"nobody answers", "никто не отвечает"},
    {"the line can't be opened any more: %s", "линию больше не удаётся открыть: %s"},
    {"the line is gone", "линия пропала"},
    {"ended ahead of time", "прервано"},
    {"each request comes back: the line or its adapter echoes what is sent; nothing can be read so",
     "каждый запрос возвращается: линия или её адаптер повторяет переданное (эхо); читать так нельзя"},
    {"requests followed by what is no answer to them: %d; noise, other settings, another protocol, or answers behind the time-out. The first: %s",
     "запросов, за которыми пришло что-то кроме ответа: %d; помехи, другие настройки, другой протокол или ответы после тайм-аута. Первое: %s"},
    {"requests that came back unchanged: %d; a Mercury answers the link test so",
     "запросов, вернувшихся без изменений: %d; так Меркурий отвечает на проверку связи"},
    {"%s: each address refuses with code %d, as of a gateway that finds nobody",
     "%s: каждый адрес отвечает отказом с кодом %d, как шлюз, который никого не нашёл"},
    {"%s: each address answers, also those that nobody has; told once",
     "%s: отвечает каждый адрес, и те, которых ни у кого нет; показан один"},
    {"protocol", "протокол"},
    {"line", "линия"},
    {"address", "адрес"},
    {"what it says", "что сообщает"},
    {"refuses the register 0 of each kind; so does a VKT-7", "отказывает в регистре 0 каждого вида; так делает и ВКТ-7"},
    {"answers the link test; the daemon reads no values of it yet",
     "отвечает на проверку связи; значений служба пока не читает"},
    {"gives no value", "значения не даёт"},
    {"its channel was tried before", "канал уже пробовали открыть"},
    {"its session was tried before", "сеанс уже пробовали открыть"},
    {"doesn't answer the opening of its channel", "не отвечает на открытие канала"},
    {"refuses the daemon's password (%d)", "не принимает пароль службы (%d)"},
    {"version of its server 0x%02x", "версия сервера 0x%02x"},
    {"configuration %s", "конфигурация %s"},
    {"  ostrandctl scan --tty /dev/ttyS0 --baudrate 9600,19200 --protocol modbus,dcon --output found.json\n"
     "asks each address at both rates, tells each device as soon as it answers, and leaves a configuration by which\n"
     "the daemon publishes a value of each. An address without a device takes one time-out for each protocol and\n"
     "each combination of settings. It is asked by what changes nothing in any device. A session, of Mercury, Milur\n"
     "and VKT-7, is opened only for protocols that are named, where somebody has answered, and once an address.\n"
     "Behind TCP the frames of Modbus TCP are tried first, and those of a serial line where nobody knows these.\n"
     "Ctrl-C ends it with what was found so far. Status: 0 where somebody was found, otherwise 1.",
     "  ostrandctl scan --tty /dev/ttyS0 --baudrate 9600,19200 --protocol modbus,dcon --output found.json\n"
     "опрашивает каждый адрес на обеих скоростях, сразу сообщает о каждом ответившем устройстве и оставляет\n"
     "конфигурацию, по которой служба публикует значение каждого. Адрес без устройства стоит одного тайм-аута на\n"
     "каждый протокол и каждое сочетание настроек. Запросы ничего не меняют ни в одном устройстве. Сеанс Меркурия,\n"
     "Милура и ВКТ-7 открывается только для названных протоколов, где кто-то ответил, и один раз на адрес.\n"
     "По TCP сначала пробуются кадры Modbus TCP, а если их никто не знает, кадры последовательной линии.\n"
     "Ctrl-C завершает с тем, что найдено. Статус: 0, если кто-то найден, иначе 1."},

    // watch

    // simulate
};
// clang-format on

}  // namespace phrases

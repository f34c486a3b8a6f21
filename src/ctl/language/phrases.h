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

    // topics
    {"topic", "топик"},
    {"unit", "единица"},
    {"interval", "период"},
    {"port", "порт"},
    {"device", "устройство"},
    {"source", "источник"},
    {"%s doesn't load: ask `ostrandctl check` why", "%s не загружается: причину покажет `ostrandctl check`"},
    {"list the topics of a configuration", "показать топики конфигурации"},
    {"as JSON", "в виде JSON"},
    {"as CSV", "в виде CSV"},
    {"  ostrandctl topics /etc/ostrand.json\n"
     "lists what the daemon publishes (r) and takes on the topic with /on behind it (w).\n"
     "The configuration has to load; elements that the daemon leaves out aren't listed.",
     "  ostrandctl topics /etc/ostrand.json\n"
     "показывает, что служба публикует (r) и что принимает в топике с /on на конце (w).\n"
     "Конфигурация должна загружаться; пропускаемых элементов в списке нет."},

    // schema
    {"configuration of ostrand", "конфигурация ostrand"},
    {"template of ostrand", "шаблон ostrand"},
    {"the name of the file, without .json", "имя файла без .json"},
    {"print the JSON Schema of a configuration, for editors", "вывести JSON Schema конфигурации, для редакторов"},
    {"that of a template", "для шаблона"},
    {"  ostrandctl schema > ostrand.schema.json\n"
     "A configuration that begins with {\"$schema\": \"ostrand.schema.json\", ... is completed and checked by\n"
     "editors while it is written; descriptions come in the language of the messages (--language).",
     "  ostrandctl schema > ostrand.schema.json\n"
     "Конфигурацию, которая начинается с {\"$schema\": \"ostrand.schema.json\", ..., редакторы дополняют и проверяют\n"
     "при вводе; описания на языке сообщений (--language)."},

    // check
    {"none of its devices is enabled: the port doesn't start", "нет ни одного включённого устройства: порт не запустится"},
    {"a device of another driver: this port leaves it out", "устройство другого драйвера: этот порт его пропустит"},
    {"of another driver: the device never asks for the parameter",
     "относится к другому драйверу: устройство этот параметр не опрашивает"},
    {"is missing: without it the parameter is one of Modbus, and never asked for",
     "отсутствует: без него это параметр Modbus, который не опрашивается"},
    {"bits can't be in a device with all_params: the process restarts at each poll",
     "биты недопустимы в устройстве с all_params: процесс будет перезапускаться при каждом опросе"},
    {"isn't UTF-8: save the file so, or no broker takes the topics",
     "не UTF-8: сохраните файл в этой кодировке, иначе брокер не примет топики"},
    {"stands twice: the last one counts", "указан дважды: действует последний"},
    {"has no effect", "ни на что не влияет"},
    {"has no effect beside %s", "не действует рядом с %s"},
    {"has no effect without %s", "не действует без %s"},
    {"isn't read in a file with connection: use the object %s",
     "в файле с connection не читается: нужен объект %s"},
    {"stays as the template has it", "остаётся таким, как в шаблоне"},
    {"is for ports of another type", "относится к портам другого типа"},
    {"has no effect: tcp counts", "не действует: учитывается tcp"},
    {"has no effect with this driver", "с этим драйвером ни на что не влияет"},
    {"has no effect at a parameter: the device's counts", "у параметра не действует: учитывается ключ устройства"},
    {"has no effect in a device with all_params", "в устройстве с all_params не действует"},
    {"can't be read with this driver or register kind", "с этим драйвером или видом регистра не читается"},
    {"false, but the calculator takes no writes", "false, но вычислитель записи не принимает"},
    {"false: it is neither read nor written so", "false: тогда не читается и не записывается"},
    {"%s: the device is never asked", "%s: устройство не будет опрошено"},
    {"%s is the name of another device of this port too", "%s: так названо и другое устройство этого порта"},
    {"(and %d more of them)", "(и ещё %d)"},
    {"runs twice, on two ports: put it behind the first mb-tcp device",
     "работает дважды, на двух портах: поставьте его после первого устройства mb-tcp"},
    {"nested too deeply", "слишком большая вложенность"},
    {"the file is in UTF-16: save it as UTF-8", "файл в UTF-16: сохраните его в UTF-8"},
    {"Syntax error: value, object or array expected.", "Ошибка в JSON: ожидается значение, объект или массив."},
    {"Missing '}' or object member name", "Ошибка в JSON: нет '}' или имени ключа"},
    {"Missing ':' after object member name", "Ошибка в JSON: нет ':' после имени ключа"},
    {"Missing ',' or '}' in object declaration", "Ошибка в JSON: в объекте нет ',' или '}'"},
    {"Missing ',' or ']' in array declaration", "Ошибка в JSON: в массиве нет ',' или ']'"},
    {"Extra non-whitespace after JSON value.", "Ошибка в JSON: лишний текст после значения."},
    {"Bad escape sequence in string", "Ошибка в JSON: неверная последовательность с '\\' в строке"},
    {"the bits have to be a list of objects with name and offset", "биты задаются списком объектов с name и offset"},
    {"has to be 1, 9, 10, 13, 15 or 21", "должно быть 1, 9, 10, 13, 15 или 21"},
    {"no group of parameters has this cname", "нет группы в parameters с таким cname"},
    {"is missing: without it the parameter is one of Modbus; \"dcon\" is meant here",
     "отсутствует: без него это параметр Modbus; здесь нужен \"dcon\""},
    {"%s in steps of %s", "%s с шагом %s"},
    {"the port will say: %s", "порт сообщит: %s"},
    {"without port it is 0, not 1883", "без port порт равен 0, а не 1883"},
    {"has no effect here", "здесь ни на что не влияет"},
    {"is no key that anything reads", "такого ключа никто не читает"},
    {"%s is no number: 0 is taken, or what the text begins with",
     "%s не число: берётся 0 или то, с чего начинается строка"},
    {"%s never matches: its digits have to be upper-case letters",
     "%s никогда не совпадёт: цифры должны быть прописными"},
    {"is missing: the parameter can't be read", "отсутствует: параметр не прочитать"},
    {"%s is no kind of register: holding is taken", "%s не вид регистра: берётся holding"},
    {"a register carries no bit: that is for coil and status", "регистр не хранит бит: это для coil и status"},
    {"a coil or status carries nothing but a bit", "coil и status хранят только бит"},
    {"doesn't compile: %s", "не разбирается: %s"},
    {"false, but there is nothing that takes a write", "false, но записывать здесь некуда"},
    {"false, but inputs can't be written", "false, но входы не записываются"},
    {"false, but this value_type can't be written", "false, но этот value_type не записывается"},
    {"can't be translated: the parameter is never asked", "не разбирается: параметр не будет опрошен"},
    {"%s is no number from 0 to 255", "%s не число от 0 до 255"},
    {"%s holds the name %s of another device of this port", "%s содержит имя %s другого устройства этого порта"},
    {"the devices have different settings: the line is opened anew at each change, in every pass",
     "у устройств разные настройки: при каждой смене, в каждом проходе линия открывается заново"},
    {"port %s uses this line too", "эту линию использует и порт %s"},
    {"a pass takes about %.1f s (%.0f s when no device answers), and the intervals, the shortest of them %d s, ask for "
     "%.1f times what the line can do",
     "проход занимает около %.1f с (%.0f с, если никто не отвечает), а периоды, самый короткий %d с, требуют в %.1f раза "
     "больше, чем может линия"},
    {"%s is the topic of %s too", "топик %s есть и у %s"},
    {"%s: is a folder", "%s: это папка"},
    {"%s: 100 MB or more: no configuration is that large", "%s: 100 МБ или больше: таких конфигураций не бывает"},
    {"%s: can't be read: %s", "%s: не удалось прочитать: %s"},
    {"the file is empty", "файл пуст"},
    {"error", "ошибка"},
    {"warning", "предупреждение"},
    {"a text", "строка"},
    {"an integer", "целое"},
    {"an integer of 0 or more", "целое от 0"},
    {"a number", "число"},
    {"true or false", "true или false"},
    {"an integer, or a text with one", "целое или строка с ним"},
    {"an object", "объект"},
    {"a list", "список"},
    {"one of %s", "одно из %s"},
    {"%s from %s to %s", "%s от %s до %s"},
    {"%s, at least %s", "%s, не меньше %s"},
    {"%s, at most %s", "%s, не больше %s"},
    {"is empty", "пусто"},
    {"the file has to be an object", "в файле должен быть объект"},
    {"a template has to be an object", "шаблон должен быть объектом"},
    {"none of the devices can be used", "ни одно устройство не пригодно"},
    {"none of the parameters can be used", "ни один параметр не пригоден"},
    {"none of the channels can be used", "ни один канал не пригоден"},
    {"isn't six numbers with points between them", "должно быть шесть чисел через точку"},
    {"isn't a number that can be used", "непригодное число"},
    {"needs the bridge's address", "нужен адрес моста"},
    {"can't be used; allowed: %s", "не годится; допустимо: %s"},
    {"can't stand in a topic: with it nothing is published", "не может стоять в топике: с ним ничего не публикуется"},
    {"has no effect beside password_file", "не действует при наличии password_file"},
    {"is missing: without it no password is sent", "отсутствует: без него пароль не передаётся"},
    {"can be read by everybody on this machine", "доступен для чтения всем на этой машине"},
    {"the certificate may be another host's: whoever has one can be the broker",
     "сертификат может быть выдан на другое имя: брокером может назваться любой его владелец"},
    {"can't be a topic: no presence is published", "не может быть топиком: присутствие не публикуется"},
    {"needs a node, and a prefix without wildcards", "нужны node и prefix без подстановочных знаков"},
    {"needs an object with url and port", "нужен объект с url и port"},
    {"has to be xgpio here", "здесь должно быть xgpio"},
    {"has no mb-tcp: in this shape of the file the loading would never end",
     "нет ни одного mb-tcp: загрузка файла такого вида не закончится"},
    {"devices and parameters have to be lists", "devices и parameters должны быть списками"},
    {"connection has to be an object, devices and parameters lists",
     "connection должен быть объектом, devices и parameters списками"},
    {"is missing: there is nothing to publish", "отсутствует: публиковать нечего"},
    {"is missing: commands 13 and 21 need it", "отсутствует: нужен командам 13 и 21"},
    {"has to be one character, 0 to F, for command 9", "для команды 9 должен быть один символ от 0 до F"},
    {"a parameter of this type needs a device of it", "параметру этого типа нужно такое же устройство"},
    {"a device of this type needs a port of it", "устройству этого типа нужен такой же порт"},
    {"is missing", "отсутствует"},
    {"is missing: %s", "отсутствует: %s"},
    {"%s can't be used", "%s непригодно"},
    {"%s can't be used; allowed: %s", "%s непригодно; допустимо: %s"},
    {"(did you mean %s?)", "(может быть, %s?)"},
    {"%s isn't known; known are %s", "%s неизвестно; известны %s"},
    {"a serial line needs its settings", "последовательной линии нужны настройки"},
    {"%s can't be read: the device goes without it", "%s не удалось прочитать: устройство остаётся без него"},
    {"has to be the name of the file", "должно совпадать с именем файла"},
    {"the names of two ports are alike in their first 23 bytes: the broker throws out one of the two",
     "имена двух портов совпадают в первых 23 байтах: брокер отключит один из двух"},
    {"stands at a channel above already", "уже есть у канала выше"},
    {"the loader says: %s", "загрузчик сообщает: %s"},
    {"is left out: it needs connection, devices and parameters", "пропускается: нужны connection, devices и parameters"},
    {"has no port: nothing would run", "нет портов: запускать нечего"},
    {"Tells everything that the daemon would leave out, refuse or die of, and warns of what it would take and not do\n"
     "as meant:\n"
     "  ostrandctl check /etc/ostrand.json\n"
     "The status is 0 without errors, 1 with some, 2 when the file can't be looked at.\n"
     "\nWarnings, by the names that --no-warn takes:\n",
     "Сообщает обо всём, что служба пропустит, отвергнет или из-за чего завершится, и предупреждает о том, что она\n"
     "примет, но сделает не так, как задумано:\n"
     "  ostrandctl check /etc/ostrand.json\n"
     "Код завершения 0 без ошибок, 1 с ошибками, 2 если файл не удалось посмотреть.\n"
     "\nПредупреждения, по именам для --no-warn:\n"},
    {"tell everything that is wrong with a configuration", "сообщить обо всех ошибках конфигурации"},
    {"the configuration", "конфигурация"},
    {"folder of the templates", "папка шаблонов"},
    {"the findings as JSON", "вывод в виде JSON"},
    {"leave out the warnings of this name; may be repeated", "без предупреждений с этим именем; можно повторять"},
    {"a key that nothing reads", "ключ, который ничто не читает"},
    {"a key that has no effect where it stands", "ключ, который на этом месте ни на что не влияет"},
    {"mqtt without port: the port is 0 then, not 1883", "mqtt без port: порт тогда 0, а не 1883"},
    {"two parameters with the same topic", "два параметра с одним топиком"},
    {"a device's name is part of another's on the port: messages may go to the wrong one",
     "имя устройства входит в имя другого на том же порту: сообщения могут попасть не туда"},
    {"two ports on the same serial line", "два порта на одной последовательной линии"},
    {"error_value with lower-case digits matches nothing", "error_value со строчными цифрами ни с чем не совпадает"},
    {"a value type that is missing, or that the register can't carry",
     "тип значения не указан или не подходит к регистру"},
    {"a reg_type that is no kind of register: holding is taken", "reg_type не вид регистра: берётся holding"},
    {"read_only is false, but the parameter can't be written", "read_only false, но параметр записать нельзя"},
    {"an expression that doesn't compile", "выражение, которое не разбирается"},
    {"a pass takes longer than its intervals allow", "проход дольше, чем позволяют периоды"},
    {"line settings that alternate between devices: each change opens the line anew",
     "настройки линии чередуются между устройствами: каждая смена открывает линию заново"},
    {"personal line settings that can't be used", "непригодные собственные настройки линии"},
    {"a text where a number is meant", "строка там, где нужно число"},
    {"an object id that can't be translated", "идентификатор объекта, который не разбирается"},
    {"what the port would tell at its start", "что порт сообщит при запуске"},
    {"a parameter of another driver's type, which its device never asks for",
     "параметр другого драйвера, который устройство не опрашивает"},
    {"bits in a device with all_params: the process restarts at each poll",
     "биты в устройстве с all_params: процесс перезапускается при каждом опросе"},
    {"a key that stands twice in one object: the last one counts",
     "ключ дважды в одном объекте: действует последний"},
    {"text in another encoding than UTF-8, which no broker takes in a topic",
     "текст не в UTF-8: в топике его не примет ни один брокер"},

    // read, write
    {"no answer", "ответа нет"},
    {"nothing came", "ничего не пришло"},
    {"%s: the device has no such parameter, or it is switched off", "%s: у устройства нет такого параметра, или он выключен"},
    {"%s: there is no such device, or it is switched off", "%s: такого устройства нет, или оно выключено"},
    {"is a line of the gateway: only the daemon reads it", "это линия шлюза: её читает только служба"},
    {"isn't polled: its values come when the bridge reports them", "не опрашивается: значения приходят от моста"},
    {"takes commands only", "принимает только команды"},
    {"%d values came, %d didn't", "получено значений: %d, не получено: %d"},
    {"%s: which parameter of it?", "%s: какой именно параметр?"},
    {"can't be written", "записать нельзя"},
    {"is written over the broker: ostrandctl watch does it", "записывается через брокер: это делает ostrandctl watch"},
    {"written", "записано"},
    {"show the frames, with their fields where they are known", "показать кадры, с полями, где они известны"},
    {"use a line that another process holds", "использовать линию, занятую другим процессом"},
    {"read values once, without a broker", "прочитать значения один раз, без брокера"},
    {"what of it; a device stands for all it has", "что именно; устройство означает все его параметры"},
    {"everything, with a summary", "всё, с итогом"},
    {"  ostrandctl read /etc/ostrand.json boiler/temperature -x\n"
     "polls by the daemon's own driver and prints the value as the daemon would publish it, or why there is none.\n"
     "A device goes by its name in the configuration or that in its topics. A serial line that the daemon has\n"
     "open isn't touched: stop the daemon, or share the line by --force. The status is 0 only if all values came.",
     "  ostrandctl read /etc/ostrand.json boiler/temperature -x\n"
     "опрашивает драйвером самой службы и выводит значение так, как его опубликовала бы служба, или причину.\n"
     "Устройство называется именем из конфигурации или из топиков. Последовательная линия, открытая службой, не\n"
     "затрагивается: остановите службу или разделите линию ключом --force. Код 0, только если пришли все значения."},
    {"DEVICE[/PARAMETER] or --all", "DEVICE[/PARAMETER] или --all"},
    {"write a value once, without a broker", "записать значение один раз, без брокера"},
    {"what of it", "что именно"},
    {"as it would be sent to the \"/on\" topic", "как в топик \"/on\""},
    {"  ostrandctl write /etc/ostrand.json boiler/set_point 21.5\n"
     "writes by the daemon's own driver, and prints what it then reads back where the driver does so.\n"
     "The status is 0 only if the device has taken the value.",
     "  ostrandctl write /etc/ostrand.json boiler/set_point 21.5\n"
     "записывает драйвером самой службы и выводит прочитанное после записи, если драйвер его читает.\n"
     "Код 0, только если устройство приняло значение."},

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
    {"%s: names no usable port of a broker", "%s: нет пригодного порта брокера"},
    {"the broker's host; otherwise 127.0.0.1", "узел брокера; иначе 127.0.0.1"},
    {"its port; otherwise 1883", "его порт; иначе 1883"},
    {"take host and port from this configuration", "взять узел и порт из этой конфигурации"},
    {"show the values that come, as a table in the terminal", "показать поступающие значения таблицей в терминале"},
    {"only names (DEVICE/PARAMETER) that hold these words", "только имена (УСТРОЙСТВО/ПАРАМЕТР) с этими словами"},
    {"wait until the values have come, print them and end", "дождаться значений, вывести их и завершиться"},
    {"end after this time; with --once 10 otherwise", "завершиться через это время; с --once иначе 10"},
    {"  ostrandctl watch boiler\n"
     "shows every parameter with \"boiler\" in its name, its age and trend, and the polls that failed. In the table\n"
     "? lists the keys: w writes a value, / filters, q quits.\n"
     "  ostrandctl watch --once boiler > values.txt\n"
     "prints the same once, as it does wherever there is no terminal; the status is 1 if nothing fits or the\n"
     "broker can't be reached.",
     "  ostrandctl watch boiler\n"
     "показывает все параметры с \"boiler\" в имени, их возраст и тренд и неудачные опросы. В таблице ? выводит\n"
     "список клавиш: w записывает значение, / отбирает, q завершает.\n"
     "  ostrandctl watch --once boiler > values.txt\n"
     "выводит то же один раз, как и везде, где нет терминала; код 1, если ничего не подошло или брокер\n"
     "недоступен."},
    {"the broker refuses the subscription", "брокер отказал в подписке"},
    {"the host isn't known", "узел неизвестен"},
    {"the broker doesn't answer", "брокер не отвечает"},
    {"%s: connecting", "%s: соединение"},
    {"%s: no connection: %s", "%s: нет соединения: %s"},
    {"no values came", "значений не поступило"},
    {"no values came that fit '%s'", "не поступило значений, подходящих под '%s'"},
    {"the terminal can't be used; try --once", "терминал непригоден; попробуйте --once"},
    {"not sent, there is no connection: %s to %s", "не отправлено, нет соединения: %s в %s"},
    {"on its way to the broker: %s to %s", "отправляется брокеру: %s в %s"},
    {"the broker has it: %s to %s", "брокер принял: %s в %s"},
    {"the connection ended; not known whether it arrived: %s to %s", "соединение прервано; дошло ли, неизвестно: %s в %s"},
    {"%d of %d values", "значений %d из %d"},
    {"by name", "по имени"},
    {"by age", "по возрасту"},
    {"by errors", "по ошибкам"},
    {"faulty only", "только с ошибками"},
    {"more of them are left out", "остальные не показаны"},
    {"name", "имя"},
    {"value", "значение"},
    {"age", "возр."},
    {"trend", "тренд"},
    {"errors", "ошибки"},
    {"%lldh%02lld", "%lldч%02lld"},
    {"%lldd", "%lldд"},
    {"polls", "опросы"},
    {"out of range", "вне диапазона"},
    {"last pass", "посл. проход"},
    {"failed device", "отказавшее устройство"},
    {"since", "давность"},
    {"failed:", "отказали:"},
    {"ports %d: polls %lld, errors %lld, out of range %lld", "портов %d: опросов %lld, ошибок %lld, вне диапазона %lld"},
    {"filter: %s_   Enter keeps it, Esc shows all", "отбор: %s_   Enter оставляет, Esc показывает всё"},
    {"value for %s: %s_   Esc: none", "значение для %s: %s_   Esc: отмена"},
    {"send '%s' to %s? y/n", "отправить '%s' в %s? д/н"},
    {"any key goes back", "любая клавиша возвращает"},
    {"q quit  / filter  w write  s sort  e faulty  Tab ports  ? help",
     "q выход  / отбор  w запись  s порядок  e ошибки  Tab порты  ? справка"},
    {"up, down, PgUp, PgDn, Home, End   move; also j, k, g, G\n"
     "/ and letters   only names that hold these words; Esc shows all again\n"
     "e   only what is faulty or stale\n"
     "s   sort by name, by age, by errors\n"
     "w or Enter   write a value to the selected parameter; it is asked for first\n"
     "Tab   ports and failed devices\n"
     "q   quit\n"
     " \n"
     "!   the last poll of it failed; no value has come since\n"
     "x   its device has failed: nothing of it answers\n"
     "~   stale: no value for much longer than usual, or none at all for a minute\n"
     ">   at least so old: it lay on the broker already\n"
     "errors   failed polls since this table was started",
     "вверх, вниз, PgUp, PgDn, Home, End   движение; также j, k, g, G\n"
     "/ и буквы   только имена с этими словами; Esc снова показывает всё\n"
     "e   только неисправные и устаревшие\n"
     "s   порядок по имени, по возрасту, по ошибкам\n"
     "w или Enter   записать значение в выбранный параметр; с подтверждением\n"
     "Tab   порты и отказавшие устройства\n"
     "q   выход\n"
     " \n"
     "!   последний опрос неудачен; значений с тех пор не было\n"
     "x   устройство отказало: ничего из него не отвечает\n"
     "~   устарело: значения нет намного дольше обычного или ни одного за минуту\n"
     ">   не моложе: уже лежало на брокере\n"
     "ошибки   неудачные опросы с начала показа"},

    // simulate
    {"serve the far end of every port of a configuration", "отвечать за устройства всех портов конфигурации"},
    {"write a copy that leads to the simulation", "записать копию, ведущую к имитации"},
    {"part of the answers that go wrong, 0 to 1", "доля ошибочных ответов, от 0 до 1"},
    {"end by itself behind so long", "завершиться через столько секунд"},
    {"broker of Zigbee bridges, if another one", "брокер мостов Zigbee, если другой"},
    {"its port", "его порт"},
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
    {"%s has faults: `ostrandctl check` tells them", "в %s есть ошибки: их покажет `ostrandctl check`"},
    {"GPIO lines aren't simulated", "линии GPIO не имитируются"},
    {"%s: is the configuration itself", "%s: это сама конфигурация"},
    {"(*) not where the configuration says: start the daemon with the copy of --output",
     "(*) не там, где указано в конфигурации: запускайте службу с копией из --output"},
    {"serving until Ctrl-C", "работает до Ctrl-C"},
    {"command%s", "команда%s"},
};
// clang-format on

}  // namespace phrases

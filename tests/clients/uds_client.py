"""A UDS client over J2534, written by the standard alone, in the manner of the libraries that there are: an `unsigned
long` has the width of the C compiler's, structures are handed over as they come, one thread reads while others write."""

import ctypes
import os
import queue
import threading
import time

MessageData = ctypes.c_ubyte * 4128
ISO15765, FLOW_CONTROL_FILTER, FRAME_PAD = 6, 3, 0x40
GET_CONFIG, SET_CONFIG, CLEAR_TX_BUFFER, CLEAR_RX_BUFFER = 1, 2, 7, 8
LOOPBACK, BLOCK_SIZE, SEPARATION = 3, 0x1E, 0x1F
BUFFER_EMPTY, NO_FLOW_CONTROL = 0x10, 0x17
SECRET = 0x5EC0DE55


class Message(ctypes.Structure):
    _fields_ = [(name, ctypes.c_ulong) for name in
                ("ProtocolID", "RxStatus", "TxFlags", "Timestamp", "DataSize", "ExtraDataIndex")] + [("Data", MessageData)]


class Parameter(ctypes.Structure):
    _fields_ = [("Parameter", ctypes.c_ulong), ("Value", ctypes.c_ulong)]


class ParameterList(ctypes.Structure):
    _fields_ = [("NumOfParams", ctypes.c_ulong), ("ConfigPtr", ctypes.POINTER(Parameter))]


class Failure(Exception):
    pass


class Device:
    def __init__(self, path, name):
        self.library = ctypes.CDLL(path)
        self.id = ctypes.c_ulong()
        self.call("Open", name.encode(), ctypes.byref(self.id))

    def call(self, function, *arguments, allowed=()):
        entry = getattr(self.library, "PassThru" + function)
        entry.restype = ctypes.c_long
        status = entry(*arguments)
        if status != 0 and status not in allowed:
            text = ctypes.create_string_buffer(80)
            self.library.PassThruGetLastError(text)
            raise Failure(f"PassThru{function}: 0x{status:02X} {text.value.decode()}")
        return status

    def close(self):
        self.call("Close", self.id)


class Channel:
    """ISO 15765; a thread takes what comes, from the connection to the end."""

    def __init__(self, device, flags=0, bit_rate=500000):
        self.device = device
        self.id = ctypes.c_ulong()
        device.call("Connect", device.id, ctypes.c_ulong(ISO15765), ctypes.c_ulong(flags), ctypes.c_ulong(bit_rate),
                    ctypes.byref(self.id))
        self.received = queue.Queue()
        self.indications = []
        self.ended = threading.Event()
        self.reader = threading.Thread(target=self.read, daemon=True)  # which no failure waits for
        self.reader.start()

    def read(self):
        message = Message()
        while not self.ended.is_set():
            count = ctypes.c_ulong(1)
            self.device.call("ReadMsgs", self.id, ctypes.byref(message), ctypes.byref(count), ctypes.c_ulong(20),
                             allowed=(BUFFER_EMPTY,))
            if count.value == 1:
                data = bytes(message.Data[:message.DataSize])
                if message.RxStatus == 0:
                    self.received.put(data)
                else:
                    self.indications.append((message.RxStatus, data))

    def message(self, data, flags=FRAME_PAD):
        message = Message(ISO15765, 0xCCCCCCCC, flags, 0xCCCCCCCC, len(data), 0xCCCCCCCC)
        ctypes.memmove(message.Data, data, len(data))
        return message

    def add_flow_control(self, request, response):
        identifier = ctypes.c_ulong()
        self.device.call("StartMsgFilter", self.id, ctypes.c_ulong(FLOW_CONTROL_FILTER),
                         ctypes.byref(self.message(b"\xff\xff\xff\xff")),
                         ctypes.byref(self.message(response.to_bytes(4, "big"))),
                         ctypes.byref(self.message(request.to_bytes(4, "big"))), ctypes.byref(identifier))
        return identifier

    def configure(self, command, **values):
        known = {"loopback": LOOPBACK, "block_size": BLOCK_SIZE, "separation": SEPARATION}
        parameters = (Parameter * len(values))(*[Parameter(known[key], value) for key, value in values.items()])
        wanted = ParameterList(len(values), parameters)
        self.device.call("Ioctl", self.id, ctypes.c_ulong(command), ctypes.byref(wanted), None)
        return [parameter.Value for parameter in parameters]

    def clear(self):
        for command in (CLEAR_TX_BUFFER, CLEAR_RX_BUFFER):
            self.device.call("Ioctl", self.id, ctypes.c_ulong(command), None, None)

    def send(self, data, timeout=0, allowed=()):
        count = ctypes.c_ulong(1)
        return self.device.call("WriteMsgs", self.id, ctypes.byref(self.message(data)), ctypes.byref(count),
                                ctypes.c_ulong(timeout), allowed=allowed)

    def close(self):
        self.ended.set()
        self.reader.join()
        self.device.call("Disconnect", self.id)


class Uds:
    def __init__(self, channel, request, response):
        self.channel = channel
        self.header = request.to_bytes(4, "big")
        self.response = response.to_bytes(4, "big")
        channel.add_flow_control(request, response)

    def ask(self, *parts):
        request = b"".join(bytes([part]) if isinstance(part, int) else part for part in parts)
        self.channel.send(self.header + request)
        while True:
            answer = self.channel.received.get(timeout=5)
            if answer[:4] != self.response or answer[4:7] == bytes([0x7F, request[0], 0x78]):
                continue
            if answer[4] == 0x7F:
                raise Failure(f"refused: {answer[4:].hex()}")
            return answer[4:]


def check(got, expected):
    if got != expected:
        raise Failure(f"{got!r} instead of {expected!r}")


def main():
    device = Device(os.environ["PASSBRIDGE_LIBRARY"], "J2534-2:SN='4711' CXN='USB'")
    channel = Channel(device)
    check(channel.send(b"\0\0\x07\xe0" + bytes(9), allowed=(NO_FLOW_CONTROL,)), NO_FLOW_CONTROL)
    channel.configure(SET_CONFIG, loopback=0, block_size=8, separation=1)
    check(channel.configure(GET_CONFIG, block_size=0, separation=0), [8, 1])
    channel.clear()
    engine = Uds(channel, 0x7E0, 0x7E8)

    check(engine.ask(0x22, b"\xf1\x90"), b"\x62\xf1\x90VVC1234567N000001")
    engine.ask(0x10, 0x03)
    seed = int.from_bytes(engine.ask(0x27, 0x01)[2:], "big")
    engine.ask(0x27, 0x02, (seed ^ SECRET).to_bytes(4, "big"))
    engine.ask(0x2E, b"\xf1\x90", b"PYTHON0123456789X")
    check(engine.ask(0x22, b"\xf1\x90\xf1\x8c"), b"\x62\xf1\x90PYTHON0123456789X\xf1\x8cENG0001")
    try:
        engine.ask(0x22, b"\xab\xcd")
        raise AssertionError("an unknown identifier was read")
    except Failure as refusal:
        check(str(refusal), "refused: 7f2231")

    # Several threads write while one reads.
    transmission = Uds(channel, 0x7E1, 0x7E9)
    check(transmission.ask(0x22, b"\xf1\x8c"), b"\x62\xf1\x8cTCM0001")
    writers = [threading.Thread(target=lambda: [channel.send(b"\0\0\x07\xdf\x3e\x80", 1000) for _ in range(20)])
               for _ in range(3)]
    for writer in writers:
        writer.start()
    for writer in writers:
        writer.join()
    done, deadline = 0, time.monotonic() + 10
    while done < 60 and time.monotonic() < deadline:
        time.sleep(0.01)
        done = len([status for status, data in channel.indications if status & 8 and data == b"\0\0\x07\xdf"])
    channel.close()
    check(done, 60)
    starts = {data for status, data in channel.indications if status == 2}
    check(starts, {b"\0\0\x07\xe8", b"\0\0\x07\xe9"})
    device.close()
    print("identified, unlocked, written and read back")


main()

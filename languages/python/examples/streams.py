"""Writes a stream of radios, and reads it until it is cut off."""
import io

import tarn

stream = io.BytesIO()
tarn.write_framed(stream, [
    tarn.Server(name='Roof', status=tarn.StatusCodes.ok),
    tarn.Server(name='Yard', status=4711)])
cut_off = io.BytesIO(stream.getvalue() + b'\x09Gate')
try:
    for server in tarn.read_framed(cut_off, tarn.Server):
        print(server.name, tarn.StatusCodes(server.status).name)
except tarn.DamagedError as error:
    print(error)

# SPDX-License-Identifier: Apache-2.0
"""Manifests of speech toolkits: recordings, pieces of them, channels of one file and of several; what cannot be served is a row that says why."""
import gzip
import json
import struct
import unittest
from pathlib import Path

import numpy as np
from corpus_support import CorpusTest
from support import bursts, write_wave
from wvad.corpus import entry


class Manifest(CorpusTest):
    def setUp(self):
        super().setUp()
        self.wave("talk.wav", bursts(10, [(1, 2), (4, 5), (7, 8)]))
        both = np.stack([bursts(6, [(1, 2)]), bursts(6, [(3.5, 4.5)])], axis=1)
        self.wave("both.wav", both)
        self.wave("left.wav", both[:, 0])
        self.wave("right.wav", both[:, 1])

    def heard(self, *rows, code=0, arguments=()):
        """The output's rows for these rows of a manifest."""
        self.manifest("set.jsonl", *rows)
        Path("out.jsonl").unlink(missing_ok=True)
        self.command("set.jsonl", *arguments, code=code)
        return self.rows()[1:]

    def spans(self, *rows, **how):
        return [[(one["begin"], one["end"]) for one in row["sentences"]] for row in self.heard(*rows, **how)]

    def test_offset_and_duration_are_a_piece_with_the_times_of_the_recording(self):
        rows = self.heard({"audio_filepath": "talk.wav", "offset": 3, "duration": 3.0, "text": "x"}, {"audio_filepath": "talk.wav", "offset": 6.5},
                          {"audio_filepath": "talk.wav", "duration": 6}, {"audio_filepath": "talk.wav", "offset": None, "duration": None},
                          {"audio_filepath": "talk.wav", "offset": 4.5, "duration": 2})
        self.assertEqual([[(one["begin"], one["end"]) for one in row["sentences"]] for row in rows],
                         [[(3.7, 5.2)], [(6.7, 8.2)], [(0.7, 2.2), (3.7, 5.2)], [(0.7, 2.2), (3.7, 5.2), (6.7, 8.2)], [(4.5, 5.2)]])
        self.assertEqual([row.get("offset") for row in rows], [3, 6.5, 0, None, 4.5])
        self.assertEqual([row["duration"] for row in rows], [3, 3.5, 6, 10, 2])
        self.assertEqual(rows[0]["manifest"], {"offset": 3, "duration": 3.0, "text": "x"})
        self.assertEqual([(rows[at]["sentences"][-1]["began_in_speech"], rows[at]["sentences"][-1]["ended_in_speech"]) for at in (0, 4)],
                         [(False, False), (True, False)])

    def test_a_piece_is_heard_as_a_recording_of_its_samples(self):
        """Both borders lie in speech, so that everything that looks beyond them would show."""
        samples = bursts(10, [(1, 2), (4, 5), (7, 8)])
        self.wave("only.wav", samples[round(1.5 * 16000):round(4.5 * 16000)])
        piece, only = self.heard({"wav": "talk.wav", "offset": 1.5, "duration": 3}, {"wav": "only.wav"})
        self.assertEqual([(one["began_in_speech"], one["ended_in_speech"]) for one in only["sentences"]], [(True, False), (False, True)])
        for one in only["sentences"]:
            one["begin"], one["end"] = round(one["begin"] + 1.5, 6), round(one["end"] + 1.5, 6)
        self.assertEqual(piece["sentences"], only["sentences"])

    def test_a_piece_that_is_the_whole_has_the_values_of_the_whole(self):
        whole, piece = self.heard({"wav": "talk.wav"}, {"wav": "talk.wav", "offset": 0.0, "duration": 10})
        self.assertEqual(piece["sentences"], whole["sentences"])

    def test_a_piece_beyond_the_end_is_told(self):
        rounded, short, behind, at_end = self.heard({"wav": "talk.wav", "offset": 6, "duration": 4.05}, {"wav": "talk.wav", "offset": 6, "duration": 5},
                                                    {"wav": "talk.wav", "offset": 11}, {"wav": "talk.wav", "offset": 10}, code=1)
        self.assertEqual((rounded["duration"], rounded["note"]), (4, ""))
        self.assertEqual((short["duration"], short["note"]), (4, "the recording ends at 10 s, before the piece does"))
        self.assertEqual(behind["error"], "talk.wav: the piece begins at 11 s, and the recording ends at 10 s")
        self.assertEqual(at_end["error"], "talk.wav: the piece begins at 10 s, and the recording ends at 10 s")

    def test_a_piece_of_less_than_half_a_sample_is_told(self):
        nothing, one = self.heard({"wav": "talk.wav", "offset": 1, "duration": 0.00003}, {"wav": "talk.wav", "offset": 1, "duration": 0.00004}, code=1)
        self.assertEqual(nothing["error"], "talk.wav: the piece from 1 s holds no sample")
        self.assertNotIn("error", one)

    def test_what_the_recording_itself_notes_is_told_beside_its_end(self):
        samples = np.zeros(10 * 16000, np.float32)
        samples[7 * 16000] = np.nan
        header = struct.pack("<4sI4s4sIHHIIHH4sI", b"RIFF", 36 + samples.nbytes, b"WAVE", b"fmt ", 16, 3, 1, 16000, 64000, 4, 32, b"data", samples.nbytes)
        Path("float.wav").write_bytes(header + samples.tobytes())
        row = self.heard({"wav": "float.wav", "offset": 6, "duration": 5})[0]
        self.assertRegex(row["note"], "no numbers.*; the recording ends at 10 s, before the piece does$")

    def test_a_damaged_recording_is_told_of_in_the_piece_that_meets_it(self):
        Path("cut.wav").write_bytes(Path("talk.wav").read_bytes()[:44 + 6 * 32000])
        first, last = self.heard({"wav": "cut.wav", "duration": 3}, {"wav": "cut.wav", "offset": 3, "duration": 5})
        self.assertEqual((first["damage"], first["note"], first["duration"]), ("", "", 3))
        self.assertRegex(last["damage"], "cut short")
        self.assertEqual((last["note"], last["duration"]), ("", 3))

    def test_recordings_with_sources(self):
        file = {"type": "file", "channels": [0], "source": "talk.wav"}
        self.assertEqual(self.spans({"id": "a", "sources": [file], "sampling_rate": 16000, "num_samples": 160000, "duration": 10.0}),
                         [[(0.7, 2.2), (3.7, 5.2), (6.7, 8.2)]])
        row = self.heard({"id": "b", "sources": [{"type": "file", "channels": [0, 1], "source": "both.wav"}]}, arguments=["--channel", "all"])[0]
        self.assertEqual((row["file"], row["manifest"]["id"], row["channels"]), ("both.wav", "b", 2))
        self.assertEqual([(one["channel"], one["begin"]) for one in row["sentences"]], [(1, 0.7), (2, 3.2)])

    def test_channels_in_several_files_are_side_by_side(self):
        sources = [{"type": "file", "channels": [1], "source": "right.wav"}, {"type": "file", "channels": [0], "source": "left.wav"}]
        both = {"type": "file", "channels": [0, 1], "source": "both.wav"}
        for how in ("mix", "all", "2"):
            apart, together = self.heard({"sources": sources}, {"sources": [both], "duration": 6}, arguments=["--channel", how])
            self.assertEqual((apart["channels"], apart["sentences"]), (2, together["sentences"]), how)
        self.assertEqual([one["begin"] for one in apart["sentences"]], [3.2])
        listed = self.heard({"audio_filepath": ["left.wav", "right.wav"]}, arguments=["--channel", "2"])
        self.assertEqual(listed[0]["sentences"], apart["sentences"])
        # One that ends before the others is silent from there on.
        write_wave("right.wav", bursts(2, []))
        self.assertEqual(self.spans({"sources": sources}), [[(0.7, 2.2)]])

    def test_a_recording_in_several_files_names_them_all_and_is_a_piece_only_where_one_is_asked_for(self):
        names = ["left.wav", "right.wav"]
        whole, piece, damaged, one, sources = self.heard(
            {"file": names}, {"file": names, "offset": 3, "text": "x"}, {"file": [*names, "gone.wav"]}, {"file": ["talk.wav"]},
            {"sources": [{"type": "file", "channels": [at], "source": name} for at, name in enumerate(names)]}, code=1)
        self.assertEqual([row["file"] for row in (whole, piece, damaged, one, sources)], ["left.wav"] * 3 + ["talk.wav", "left.wav"])
        self.assertEqual([row.get("files") for row in (whole, piece, damaged, one)], [names, names, [*names, "gone.wav"], None])
        self.assertEqual([row.get("offset") for row in (whole, piece, one, sources)], [None, 3, None, None])
        self.assertEqual((whole["duration"], piece["duration"], piece["manifest"]), (6, 3, {"offset": 3, "text": "x"}))

    def test_pieces_of_recordings(self):
        recording = {"id": "r", "sources": [{"type": "file", "channels": [0, 1], "source": "both.wav"}]}
        cut = {"id": "c", "type": "MonoCut", "start": 2, "duration": 3, "channel": 1, "recording": recording}
        self.assertEqual(self.spans(cut, {**cut, "channel": 0}, {**cut, "start": 0, "duration": 6, "channel": [0, 1]}),
                         [[(3.2, 4.7)], [], [(0.7, 2.2), (3.2, 4.7)]])
        row = self.heard(cut, arguments=["--channel", "all"])[0]
        self.assertEqual([(one["channel"], one["begin"]) for one in row["sentences"]], [(2, 3.2)])
        row = self.heard(cut, code=1, arguments=["--channel", "1"])[0]
        self.assertRegex(row["error"], r"channel: 1 is not among those of the piece \(2\)")

    def test_supervisions_take_their_recording_from_another_manifest(self):
        Path("more").mkdir()
        with gzip.open("more/recordings.jsonl.gz", "wt", encoding="utf-8") as file:
            file.write(json.dumps({"id": "r1", "sources": [{"type": "file", "channels": [0], "source": "../talk.wav"}]}) + "\n")
        spoken = {"id": "s", "recording_id": "r1", "start": 3.0, "duration": 3.0, "channel": 0, "text": "hello"}
        rows = self.heard(spoken, {**spoken, "recording_id": "r2"}, code=1, arguments=["--recordings", "more/recordings.jsonl.gz"])
        self.assertEqual([(one["begin"], one["end"]) for one in rows[0]["sentences"]], [(3.7, 5.2)])
        self.assertEqual((rows[0]["offset"], rows[0]["manifest"]), (3, spoken))
        self.assertRegex(rows[1]["error"], "there is no recording 'r2'; --recordings")
        self.assertRegex(self.heard(spoken, code=1)[0]["error"], "there is no recording 'r1'; --recordings")

    def test_a_line_that_is_no_text_is_a_row_and_a_byte_order_mark_is_none(self):
        Path("set.jsonl").write_bytes(b'\xef\xbb\xbf{"wav": "talk.wav"}\r\n{"wav": "caf\xe9.wav"}\n{"wav": "talk.wav"}\n')
        self.command("set.jsonl", code=1)
        first, second, third = self.rows()[1:]
        self.assertEqual((len(first["sentences"]), second["error"], len(third["sentences"])), (3, "set.jsonl:2: is not UTF-8", 3))
        Path("list.txt").write_bytes(b"\xef\xbb\xbftalk.wav\n")
        self.command("list.txt", output="more.jsonl")

    def test_what_is_no_number_is_null(self):
        row = self.heard({"wav": "talk.wav", "score": float("nan"), "more": [float("-inf"), 1.5, {"x": float("inf")}]})[0]
        self.assertEqual(row["manifest"], {"score": None, "more": [None, 1.5, {"x": None}]})

    def test_ids_are_texts_or_numbers_and_each_is_there_once(self):
        of = {"sources": [{"type": "file", "channels": [0], "source": "talk.wav"}]}
        self.manifest("recordings.jsonl", {"id": 7, **of}, {"id": "b", **of})
        rows = self.heard({"recording_id": 7, "duration": 3}, {"recording_id": "7"}, {"recording_id": True}, code=1, arguments=["--recordings", "recordings.jsonl"])
        self.assertEqual([len(row.get("sentences", ())) for row in rows], [1, 3, 0])
        for last, words in (({"id": "7", **of}, "3: an earlier row has the id '7' too"), ({"id": None, **of}, "3: is no row"), (of, "3: is no row")):
            self.manifest("recordings.jsonl", {"id": 7, **of}, {"id": "b", **of}, last)
            self.assertRegex(self.command("set.jsonl", "--recordings", "recordings.jsonl", code=2, output="more.jsonl"), f"recordings.jsonl:{words}")

    def test_names_of_sources_start_beside_the_manifest_or_at_the_working_folder(self):
        Path("deep").mkdir()
        self.wave("deep/talk.wav", bursts(4, [(1, 2)]))
        for name, file in (("talk.wav", "deep"), ("left.wav", ".")):
            self.manifest("deep/set.jsonl", {"sources": [{"type": "file", "channels": [0], "source": name}]})
            Path("out.jsonl").unlink(missing_ok=True)
            self.command("deep/set.jsonl")
            self.assertEqual(self.rows()[1]["duration"], 4 if file == "deep" else 6)

    def test_a_compressed_manifest_that_is_damaged_is_told(self):
        data = gzip.compress(b'{"wav": "talk.wav"}\n' * 100)
        for damaged in (data[:-12], b"no gzip", data[:20] + b"\xff" * 10 + data[30:]):
            Path("set.jsonl.gz").write_bytes(damaged)
            self.assertRegex(self.command("set.jsonl.gz", code=2), "set.jsonl.gz: ")

    def test_what_cannot_be_served_is_a_row_that_says_why(self):
        file = {"type": "file", "channels": [0], "source": "talk.wav"}
        recording = {"sources": [file]}
        refused = (
            ({"wav": "talk.wav", "offset": -1}, "offset: expected seconds, 0 or more, got -1"),
            ({"wav": "talk.wav", "offset": "3"}, "offset: expected seconds"),
            ({"wav": "talk.wav", "duration": 0}, "duration: expected seconds above 0"),
            ({"wav": "talk.wav", "duration": True}, "duration: expected seconds"),
            ({"wav": "talk.wav", "duration": float("nan")}, "duration: expected seconds"),
            ({"wav": [3]}, "other than text"),
            ({"wav": "", "text": "x"}, "names no recording"),
            ({"sources": []}, "sources: expected a list"),
            ({"sources": [{**file, "type": "command", "source": "touch ran"}]}, "a source of type 'command' is not read.*no command"),
            ({"sources": [{**file, "type": "url", "source": "http://localhost/"}]}, "a source of type 'url' is not read"),
            ({"sources": [{"type": "file", "channels": [0]}]}, "names no file"),
            ({"sources": [file, file]}, "channels of their own"),
            ({"sources": [{**file, "channels": [-1]}]}, "channels from 0 on"),
            ({"sources": [{**file, "source": "both.wav", "channels": [1]}]}, "both.wav: has 2 channels, and its manifest says 1"),
            ({**recording, "transforms": [{"name": "Speed"}]}, r"changed first \(transforms: Speed\)"),
            ({"recording": {**recording, "transforms": ["x"]}, "start": 0}, "changed first"),
            ({"recording": recording, "start": -0.5}, "start: expected seconds"),
            ({"recording": recording, "channel": "left"}, "channel: expected channels from 0 on"),
            ({"recording": recording, "channel": 4}, "there is no channel 4 .counted from 0. in it; it has 1"),
            ({"tracks": [{"cut": {}}]}, "a mixture"),
            ({"recording": "talk.wav"}, 'set.jsonl:21: recording: expected a row with sources, got "talk.wav"; audio_filepath names a file'),
            ({"recording": ["talk.wav"]}, "recording: expected a row with sources, got a list"),
            ({"recording": {"recording": recording}}, "its recording has no sources"),
            ({"wav": 3}, "wav: expected a name or a list of names, got 3"),
            ({"wav": {"path": "talk.wav"}}, "wav: expected a name or a list of names, got an object"),
            ({"audio_filepath": ["left.wav", "gone.wav"]}, "gone.wav: no such file"),
        )
        rows = self.heard(*(row for row, _ in refused), {"wav": "talk.wav"}, code=1)
        for row, (given, words) in zip(rows, refused):
            with self.subTest(str(given)):
                self.assertRegex(row.get("error", "no error"), words)
        self.assertEqual(len(rows[-1]["sentences"]), 3)
        self.assertFalse(Path("ran").exists())

    def test_sound_that_is_to_be_changed_is_refused_in_every_kind_of_row(self):
        recording = {"sources": [{"type": "file", "channels": [0], "source": "talk.wav"}]}
        for row in ({"file": "talk.wav"}, {"audio_filepath": ["left.wav", "right.wav"]}, recording, {"recording": recording, "start": 0}):
            with self.subTest(str(row)):
                said = [({"transforms": [{"name": "Speed"}, "reverb"]}, r"changed first \(transforms: Speed, reverb\)"),
                        ({"transforms": "reverb"}, r"changed first \(transforms: reverb\)"), ({"tracks": [{"cut": {}}]}, r"a mixture .*\(tracks\)")]
                plain = [{}, {"transforms": []}, {"transforms": None}, {"tracks": []}]
                rows = self.heard(*({**row, **more} for more, _ in said), *({**row, **more} for more in plain), code=1)
                for got, (_, words) in zip(rows, said):
                    self.assertRegex(got.get("error", "no error"), words)
                self.assertEqual([len(got["sentences"]) for got in rows[3:]], [2 if "audio_filepath" in row else 3] * 4)

    def test_names_that_no_file_has_are_told_with_their_line(self):
        """An address, and a piece in the way of one."""
        address = "is an address, and addresses are not opened here, files alone"
        piece = "talk.wav#t=3,7: no such file; what #t= asks for are offset and duration in a row of a manifest"
        refused = (
            ({"audio_filepath": "http://localhost/talk.wav"}, f"http://localhost/talk.wav: {address}"),
            ({"wav": ["talk.wav", "HTTPS://localhost/talk.wav"]}, f"HTTPS://localhost/talk.wav: {address}"),
            ({"sources": [{"type": "file", "channels": [0], "source": "s3://talks/talk.wav"}]}, f"s3://talks/talk.wav: {address}"),
            ({"audio_filepath": "talk.wav#t=3,7"}, piece),
            ({"sources": [{"type": "file", "channels": [0], "source": "talk.wav#t=3,7"}]}, piece),
        )
        for number, (row, (_, words)) in enumerate(zip(self.heard(*(row for row, _ in refused), code=1), refused), 1):
            self.assertEqual(row["error"], f"set.jsonl:{number}: {words}")
        Path("list.txt").write_text("\nhttp://localhost/talk.wav\ntalk.wav#t=3,7\ntalk.wav\n", encoding="utf-8")
        self.command("list.txt", code=1, output="more.jsonl")
        first, second, third = self.rows("more.jsonl")[1:]
        self.assertEqual((first["error"], second["error"]), (f"list.txt:2: http://localhost/talk.wav: {address}", f"list.txt:3: {piece}"))
        self.assertEqual(len(third["sentences"]), 3)
        self.assertEqual(self.command("http://localhost/talk.wav", code=2, output="none.jsonl"), f"wvad corpus: http://localhost/talk.wav: {address}\n")

    def test_files_that_are_called_so_are_heard(self):
        for name in ("talk.wav#t=3,7", "a:/talk.wav"):
            Path(name).parent.mkdir(exist_ok=True)
            Path(name).write_bytes(Path("talk.wav").read_bytes())
            self.assertEqual(len(self.heard({"wav": name})[0]["sentences"]), 3)

    def test_a_line_that_is_no_row_is_told_and_the_others_are_heard(self):
        lines = (
            ('[{"wav": "talk.wav"}]', "is no JSON object, but a list"),
            ("3", "is no JSON object, but 3"),
            ("null", "is no JSON object, but null"),
            ('"talk.wav"', 'is no JSON object, but "talk.wav"'),
            ('"' + 100 * "x" + '"', 'is no JSON object, but "' + 56 * "x" + "..."),
            ('{"wav": "talk.wav"', "is no JSON object (Expecting ',' delimiter, character 19)"),
            ('{"wav": "talk.wav"}{"wav": "talk.wav"}', "is no JSON object (Extra data, character 20)"),
            ('{"wav": "talk.wav", "offset": 1, "offset": 2}', "the name 'offset' stands twice in it; which of them counts is not said"),
            ('{"wav": "talk.wav", "more": [{"a": 1, "b": 2, "a": 1}]}', "the name 'a' stands twice in it; which of them counts is not said"),
            ('{"wav": "talk.wav", "more": ' + 100 * "[" + 100 * "]" + "}", "has lists and objects in each other over 100 deep"),
            (100_000 * '{"a":', "has lists and objects in each other over 100 deep"),
        )
        whole = '{"wav": "talk.wav", "more": ' + 99 * "[" + 99 * "]" + "}"  # the outermost counts, too
        Path("set.jsonl").write_text("".join(f"{line}\n{whole}\n" for line, _ in lines), encoding="utf-8")
        self.command("set.jsonl", code=1)
        rows = self.rows()[1:]
        self.assertEqual([row["error"] for row in rows[::2]], [f"set.jsonl:{2 * at + 1}: {words}" for at, (_, words) in enumerate(lines)])
        self.assertEqual([len(row["sentences"]) for row in rows[1::2]], [3] * len(lines))
        for line, words in lines:
            Path("recordings.jsonl").write_text(f"\n{line}\n", encoding="utf-8")
            said = self.command("set.jsonl", "--recordings", "recordings.jsonl", code=2, output="none.jsonl")
            self.assertEqual(said, f"wvad corpus: recordings.jsonl:2: {words}\n")

    def test_files_of_different_rates_are_no_channels_of_one_recording(self):
        self.wave("slow.wav", bursts(6, [(1, 2)], 8000), 8000)
        self.assertRegex(self.heard({"wav": ["left.wav", "slow.wav"]}, code=1)[0]["error"], "different rates, 16000 and 8000")

    def test_an_entry_survives_being_written_down(self):
        for one in (entry.Entry("a", "b"), entry.Entry("caf\\xe9", "caf\udce9", {"manifest": {"text": "ü\ud800", "n": [1.5, None]}}, "bad"),
                    entry.Entry("a", "b", None, "", entry.Piece(0.1, None, (2,), (("x", (1, 2)), ("y", ()))))):
            self.assertEqual(entry.of_line(entry.to_line(one)), one)
            self.assertIs(type(entry.of_line(entry.to_line(one)).piece), type(one.piece))


if __name__ == "__main__":
    unittest.main()

# SPDX-License-Identifier: Apache-2.0
"""One recurrent layer for torch, in the shape that the engine runs: peepholes on the tanh of the cell, and a projection that feeds back.

    i, f = sigmoid(x_i, x_f + Wr r + p_i t, p_f t)      t: tanh of the old cell
    c    = f * c + i * tanh(x_c + Wr r)
    t    = tanh(c)
    o    = sigmoid(x_o + Wr r + p_o t)                   with the new t
    r    = Wp (o * t)

The backward pass is written out: on one thread it is several times faster than recording every step. Rounding of what the engine keeps in
few bits is part of the forward pass; gradients go through it as if it were not there, and stop where a value is clipped.
"""

import torch


class RoundingInt8:
    """What the 8-bit form rounds: the vector that enters the projection (range 1) and the projected one (range `reach`)."""

    def __init__(self, reach):
        self.scale = 128.0 / reach
        self.reach = reach

    def cell_input(self, g):
        pass

    def cell(self, c):
        pass

    def projection_input(self, m):
        m.mul_(128.0).round_().clamp_(-128.0, 127.0).mul_(1.0 / 128.0)

    def projected(self, r):
        r.mul_(self.scale).round_().clamp_(-128.0, 127.0).mul_(1.0 / self.scale)


class RoundingFixed:
    """What the 16-bit form rounds: the tanh of the cell input and the cell to 9 fraction bits, the cell downwards and below 64; the projected
    vector to 12."""

    reach = 32767.0 / 4096.0

    def cell_input(self, g):
        g.mul_(512.0).add_(0.5).trunc_().mul_(1.0 / 512.0)

    def cell(self, c):
        c.mul_(512.0).floor_().clamp_(-32768.0, 32767.0).mul_(1.0 / 512.0)

    def projection_input(self, m):
        pass

    def projected(self, r):
        r.mul_(4096.0).add_(0.5).trunc_().clamp_(-32767.0, 32767.0).mul_(1.0 / 4096.0)


class NoRounding:
    reach = float("inf")

    def cell_input(self, g):
        pass

    cell = projection_input = projected = cell_input


class Carry:
    """The state that one piece of a long recording hands to the next: cells, projected vectors, and the vectors that the output layers still look
    back at. No gradient goes through it. Rows of streams that begin anew are cleared."""

    def __init__(self, batch, cells, projected, looks_back):
        self.c = torch.zeros(batch, cells)
        self.r = torch.zeros(batch, projected)
        self.behind = torch.zeros(looks_back, batch, projected)

    def clear(self, fresh):
        self.c[fresh] = 0.0
        self.r[fresh] = 0.0
        self.behind[:, fresh] = 0.0


class RecurrentLayer(torch.autograd.Function):
    """gx (steps, batch, 4 * cells), gates in the order input, forget, output, cell; wr (4 * cells, projected); wp (projected, cells);
    peepholes (3, cells). Gives the projected vectors (steps, batch, projected), from a state of zeros or from `carry`, which is then brought up
    to date."""

    @staticmethod
    def forward(ctx, gx, wr, wp, peepholes, rounding, carry=None):
        steps, batch, wide = gx.shape
        cells, projected = wide // 4, wp.shape[0]
        gates = torch.empty_like(gx)
        c = gx.new_zeros(steps + 1, batch, cells)
        t = gx.new_zeros(steps + 1, batch, cells)
        m = gx.new_empty(steps, batch, cells)
        r = gx.new_zeros(steps + 1, batch, projected)
        inside = gx.new_empty(steps, batch, projected)
        if carry is not None:
            c[0], r[0] = carry.c, carry.r
            torch.tanh(c[0], out=t[0])
        wr_t, wp_t = wr.t().contiguous(), wp.t().contiguous()
        p_if, p_o = peepholes[:2], peepholes[2]
        for s in range(steps):
            z = gates[s]
            torch.addmm(gx[s], r[s], wr_t, out=z)
            input_forget = z[:, :2 * cells].view(batch, 2, cells)
            input_forget.addcmul_(t[s].unsqueeze(1), p_if)
            input_forget.sigmoid_()
            g = z[:, 3 * cells:].tanh_()
            rounding.cell_input(g)
            torch.mul(z[:, cells:2 * cells], c[s], out=c[s + 1])
            c[s + 1].addcmul_(z[:, :cells], g)
            rounding.cell(c[s + 1])
            torch.tanh(c[s + 1], out=t[s + 1])
            o = z[:, 2 * cells:3 * cells]
            o.addcmul_(t[s + 1], p_o).sigmoid_()
            torch.mul(o, t[s + 1], out=m[s])
            rounding.projection_input(m[s])
            torch.mm(m[s], wp_t, out=r[s + 1])
            torch.le(r[s + 1].abs(), rounding.reach, out=inside[s])
            rounding.projected(r[s + 1])
        if carry is not None:
            carry.c, carry.r = c[-1].clone(), r[-1].clone()
        ctx.save_for_backward(gates, c, t, m, r, inside, wr, wp, peepholes)
        return r[1:]

    @staticmethod
    def backward(ctx, d_out):
        gates, c, t, m, r, inside, wr, wp, peepholes = ctx.saved_tensors
        steps, batch, wide = gates.shape
        cells = wide // 4
        d_gates = torch.empty_like(gates)
        d_r = torch.empty_like(inside)
        d_t_carry = gates.new_zeros(batch, cells)
        d_c_carry = gates.new_zeros(batch, cells)
        d_m, d_c = gates.new_empty(batch, cells), gates.new_empty(batch, cells)
        d_r_next = gates.new_zeros(batch, wp.shape[0])
        slopes = torch.empty_like(gates[0])
        p_i, p_f, p_o = peepholes
        for s in range(steps - 1, -1, -1):
            z, d_z = gates[s], d_gates[s]
            i, f, o, g = z[:, :cells], z[:, cells:2 * cells], z[:, 2 * cells:3 * cells], z[:, 3 * cells:]
            # x (1 - x) of the sigmoids and 1 - x^2 of the tanh, all in one buffer.
            torch.mul(z, z, out=slopes)
            torch.sub(z[:, :3 * cells], slopes[:, :3 * cells], out=slopes[:, :3 * cells])
            slopes[:, 3 * cells:].neg_().add_(1.0)
            torch.add(d_out[s], d_r_next, out=d_r[s])
            d_r[s].mul_(inside[s])
            torch.mm(d_r[s], wp, out=d_m)
            t_now = t[s + 1]
            d_o = torch.mul(d_m, t_now, out=d_z[:, 2 * cells:3 * cells])
            d_o.mul_(slopes[:, 2 * cells:3 * cells])
            d_t_carry.addcmul_(d_m, o).addcmul_(d_o, p_o)
            torch.mul(t_now, t_now, out=d_c).neg_().add_(1.0).mul_(d_t_carry).add_(d_c_carry)
            torch.mul(d_c, g, out=d_z[:, :cells])
            torch.mul(d_c, c[s], out=d_z[:, cells:2 * cells])
            torch.mul(d_c, i, out=d_z[:, 3 * cells:])
            d_z[:, :2 * cells].mul_(slopes[:, :2 * cells])
            d_z[:, 3 * cells:].mul_(slopes[:, 3 * cells:])
            torch.mul(d_c, f, out=d_c_carry)
            torch.mul(d_z[:, :cells], p_i, out=d_t_carry).addcmul_(d_z[:, cells:2 * cells], p_f)
            torch.mm(d_z, wr, out=d_r_next)
        flat = d_gates.view(-1, wide)
        d_wr = flat.t() @ r[:-1].reshape(-1, r.shape[2])
        d_wp = d_r.view(-1, d_r.shape[2]).t() @ m.view(-1, cells)
        d_p = torch.stack([torch.einsum("sbc,sbc->c", d_gates[:, :, :cells], t[:-1]),
                           torch.einsum("sbc,sbc->c", d_gates[:, :, cells:2 * cells], t[:-1]),
                           torch.einsum("sbc,sbc->c", d_gates[:, :, 2 * cells:3 * cells], t[1:])])
        return d_gates, d_wr, d_wp, d_p, None, None

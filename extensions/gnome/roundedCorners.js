import Cogl from 'gi://Cogl';
import GObject from 'gi://GObject';
import Shell from 'gi://Shell';

const kDeclarations = `
uniform vec2 drawn;
uniform vec2 size;
uniform vec4 bounds;
uniform float radius;
`;

// The distance of a place from the edge of the rounded rectangle, in the actor's pixels. What is
// drawn has a margin around the actor.
const kCode = `
vec2 place = (cogl_tex_coord_in[0].st - 0.5) * drawn + size / 2.0;
vec2 beyond = abs(place - (bounds.xy + bounds.zw) / 2.0) - (bounds.zw - bounds.xy) / 2.0 + radius;
float distance = length(max(beyond, 0.0)) - radius;
cogl_color_out *= clamp(0.5 - distance, 0.0, 1.0);
`;

/** Cuts the corners off, as the shell does with its own background. */
class CornersEffect extends Shell.GLSLEffect {
    vfunc_build_pipeline() {
        const hook = (Shell.SnippetHook || Cogl.SnippetHook).FRAGMENT;
        this.add_glsl_snippet(hook, kDeclarations, kCode, false);
    }

    vfunc_paint_target(...args) {
        const actor = this.get_actor();
        const [isKnown, width, height] = this.get_target_size();
        this._set('size', [actor.width, actor.height]);
        this._set('drawn', isKnown ? [width, height] : [actor.width, actor.height]);
        super.vfunc_paint_target(...args);
    }

    /** In the actor's pixels; `bounds` are [left, top, right, bottom]. */
    setShape(bounds, radius) {
        this.enabled = radius > 0;
        this._set('bounds', bounds);
        this._set('radius', [radius]);
        this.queue_repaint();
    }

    _set(name, values) {
        this.set_uniform_float(this.get_uniform_location(name), values.length, values);
    }
}

export const RoundedCorners = GObject.registerClass(CornersEffect);

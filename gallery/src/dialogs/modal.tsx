import type { ComponentChildren } from 'preact';
import { useEffect, useRef } from 'preact/hooks';

interface ModalProps {
  readonly title: string;
  readonly close: () => void;
  readonly children: ComponentChildren;
}

/** A dialog over everything else. The browser gives the focus back when it is closed. */
export function Modal({ title, close, children }: ModalProps) {
  const dialog = useRef<HTMLDialogElement>(null);
  useEffect(() => {
    const element = dialog.current as HTMLDialogElement;
    element.showModal();
    return () => element.close();
  }, []);
  const pressed = (event: MouseEvent) => {
    // What is beside its content is its backdrop.
    if (event.target === dialog.current) close();
  };
  const keyPressed = (event: KeyboardEvent) => {
    // The viewer below must not hear of it.
    event.stopPropagation();
  };
  return (
    <dialog ref={dialog} class="modal" aria-label={title} onPointerDown={pressed}
      onKeyDown={keyPressed} onCancel={(event) => (event.preventDefault(), close())}>
      <div class="modal-content">
        <h2>{title}</h2>
        {children}
      </div>
    </dialog>
  );
}

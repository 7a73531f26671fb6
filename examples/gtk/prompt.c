#include "prompt.h"

typedef struct Prompt {
  GMainLoop* loop;
  GtkWidget* yes;
  GtkWidget* no;
  int answer;
} Prompt;

static void on_clicked(GtkButton* button, gpointer data) {
  Prompt* prompt = data;
  prompt->answer = GTK_WIDGET(button) == prompt->yes;
  gtk_window_destroy(GTK_WINDOW(gtk_widget_get_root(GTK_WIDGET(button))));
}

static void on_destroy(GtkWidget* dialog, gpointer data) {
  (void)dialog;
  g_main_loop_quit(((Prompt*)data)->loop);
}

static gboolean on_escape(GtkWidget* dialog, GVariant* arguments, gpointer data) {
  (void)arguments;
  (void)data;
  gtk_window_close(GTK_WINDOW(dialog));
  return TRUE;
}

static GtkWidget* label_of(const char* text, const char* style) {
  GtkWidget* label = gtk_label_new(text);
  gtk_label_set_wrap(GTK_LABEL(label), TRUE);
  gtk_label_set_max_width_chars(GTK_LABEL(label), 40);
  gtk_label_set_justify(GTK_LABEL(label), GTK_JUSTIFY_CENTER);
  gtk_widget_add_css_class(label, style);
  return label;
}

static GtkWidget* button_of(const char* text, Prompt* prompt) {
  GtkWidget* button = gtk_button_new_with_mnemonic(text);
  gtk_widget_set_hexpand(button, TRUE);
  g_signal_connect(button, "clicked", G_CALLBACK(on_clicked), prompt);
  return button;
}

int prompt(GtkWindow* parent, const char* question, const char* details, const char* yes,
           const char* no, int otherwise) {
  Prompt prompt = {.answer = otherwise};
  GtkWidget* dialog = gtk_window_new();
  GtkWidget* content = gtk_box_new(GTK_ORIENTATION_VERTICAL, 12);
  GtkWidget* buttons = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 12);
  GtkEventController* keys = gtk_shortcut_controller_new();
  prompt.loop = g_main_loop_new(NULL, FALSE);
  prompt.no = button_of(no, &prompt);
  prompt.yes = button_of(yes, &prompt);
  gtk_box_append(GTK_BOX(buttons), prompt.no);
  gtk_box_append(GTK_BOX(buttons), prompt.yes);
  gtk_box_append(GTK_BOX(content), label_of(question, "title-2"));
  gtk_box_append(GTK_BOX(content), label_of(details, "body"));
  gtk_box_append(GTK_BOX(content), buttons);
  gtk_widget_add_css_class(prompt.yes, "suggested-action");
  gtk_widget_add_css_class(content, "prompt");
  gtk_shortcut_controller_add_shortcut(
      GTK_SHORTCUT_CONTROLLER(keys),
      gtk_shortcut_new(gtk_keyval_trigger_new(GDK_KEY_Escape, 0),
                       gtk_callback_action_new(on_escape, NULL, NULL)));
  gtk_widget_add_controller(dialog, keys);
  gtk_window_set_child(GTK_WINDOW(dialog), content);
  gtk_window_set_default_widget(GTK_WINDOW(dialog), prompt.yes);
  gtk_window_set_focus(GTK_WINDOW(dialog), prompt.yes);
  gtk_window_set_resizable(GTK_WINDOW(dialog), FALSE);
  gtk_window_set_title(GTK_WINDOW(dialog), question);
  gtk_window_set_modal(GTK_WINDOW(dialog), TRUE);
  gtk_window_set_transient_for(GTK_WINDOW(dialog), parent);
  gtk_window_set_destroy_with_parent(GTK_WINDOW(dialog), TRUE);
  g_signal_connect(dialog, "destroy", G_CALLBACK(on_destroy), &prompt);
  gtk_window_present(GTK_WINDOW(dialog));
  g_main_loop_run(prompt.loop);
  g_main_loop_unref(prompt.loop);
  return prompt.answer;
}
